#include "platform/linux/code_signing/code_signature.h"

#include <openssl/cms.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/objects.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <charconv>
#include <utility>

#include "platform/linux/code_signing/bounded_file.h"

namespace velmora {
namespace {

constexpr std::size_t maximumAnchorBytes = std::size_t{1} << 20;

template <auto Free>
struct Deleter {
  template <typename Object>
  void operator()(Object* object) const {
    Free(object);
  }
};
using Certificate = std::unique_ptr<X509, Deleter<&X509_free>>;
using Store = std::unique_ptr<X509_STORE, Deleter<&X509_STORE_free>>;
using Memory = std::unique_ptr<BIO, Deleter<&BIO_free>>;

// The library would otherwise read a configuration file that the environment names, and set up
// ciphers and words for its errors, which nobody here has a use for. Without its digests, no
// signature would verify.
void initializeLibrary() {
  static const int done =
      OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG | OPENSSL_INIT_NO_ADD_ALL_CIPHERS |
                              OPENSSL_INIT_NO_LOAD_CRYPTO_STRINGS,
                          nullptr);
  (void)done;
}

// Takes the next "name=value\n" from `text`.
std::optional<std::string_view> takeLine(std::string_view& text, std::string_view name) {
  if (!text.starts_with(name)) return std::nullopt;
  const std::size_t end = text.find('\n');
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view value = text.substr(name.size(), end - name.size());
  text.remove_prefix(end + 1);
  return value;
}

std::optional<SHA256Digest> parseDigest(std::string_view text) {
  SHA256Digest digest{};
  if (text.size() != 2 * digest.size()) return std::nullopt;
  for (std::size_t i = 0; i < digest.size(); ++i) {
    const char* pair = text.data() + 2 * i;
    const auto [end, error] = std::from_chars(pair, pair + 2, digest[i], 16);
    if (error != std::errc() || end != pair + 2) return std::nullopt;
  }
  return digest;
}

// Whether the digest that is signed is one that nobody can find a second content for. The store's
// own level only holds for the certificates.
bool isStrong(const X509_ALGOR& digest) {
  const int identifier = OBJ_obj2nid(digest.algorithm);
  return identifier == NID_sha256 || identifier == NID_sha384 || identifier == NID_sha512;
}

// The certificate of the only signer, owned by `message`; null when there is not exactly one
// signer, its digest is weak, or the message does not enclose its certificate.
X509* onlySigner(CMS_ContentInfo* message) {
  STACK_OF(CMS_SignerInfo)* signers = CMS_get0_SignerInfos(message);
  // With two, one could be trusted and the other be the one whose team is read.
  if (sk_CMS_SignerInfo_num(signers) != 1) return nullptr;
  if (CMS_set1_signers_certs(message, nullptr, 0) != 1) return nullptr;
  X509* signer = nullptr;
  X509_ALGOR* digest = nullptr;
  CMS_SignerInfo_get0_algs(sk_CMS_SignerInfo_value(signers, 0), nullptr, &signer, &digest, nullptr);
  return digest != nullptr && isStrong(*digest) ? signer : nullptr;
}

std::optional<std::string> onlyOrganizationalUnit(const X509* certificate) {
  const X509_NAME* subject = X509_get_subject_name(certificate);
  const int first = X509_NAME_get_index_by_NID(subject, NID_organizationalUnitName, -1);
  if (first < 0) return std::nullopt;
  // Which of two names the team is anybody's guess.
  if (X509_NAME_get_index_by_NID(subject, NID_organizationalUnitName, first) >= 0) {
    return std::nullopt;
  }
  unsigned char* text = nullptr;
  const int length =
      ASN1_STRING_to_UTF8(&text, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, first)));
  if (length < 0) return std::nullopt;
  const auto free = [](unsigned char* bytes) { OPENSSL_free(bytes); };
  const std::unique_ptr<unsigned char, decltype(free)> owner(text, free);
  return std::string(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
}

// Extensions that say nothing are refused as well: without its flag, a usage reads as everything.
bool isLeafThatMaySignCode(X509* certificate) {
  const std::uint32_t present = X509_get_extension_flags(certificate);
  // X509_check_ca alone passes an authority whose key usage leaves out signing certificates.
  if ((present & (EXFLAG_INVALID | EXFLAG_CA)) != 0 || X509_check_ca(certificate) != 0) {
    return false;
  }
  return (present & EXFLAG_KUSAGE) != 0 &&
         (X509_get_key_usage(certificate) & KU_DIGITAL_SIGNATURE) != 0 &&
         (present & EXFLAG_XKUSAGE) != 0 &&
         (X509_get_extended_key_usage(certificate) & XKU_CODE_SIGN) != 0;
}

Store loadAnchors() {
  Store store(X509_STORE_new());
  const std::optional<std::string> pem =
      readBoundedFile(VELMORA_CODE_SIGNING_ANCHORS, maximumAnchorBytes);
  if (!store || !pem) return nullptr;
  const Memory memory(BIO_new_mem_buf(pem->data(), static_cast<int>(pem->size())));
  if (!memory) return nullptr;
  while (const Certificate anchor{PEM_read_bio_X509(memory.get(), nullptr, nullptr, nullptr)}) {
    if (X509_STORE_add_cert(store.get(), anchor.get()) != 1) return nullptr;
  }
  // The library's default for signed messages is the mail purpose; the leaf's own purpose is
  // looked at by isLeafThatMaySignCode.
  X509_STORE_set_purpose(store.get(), X509_PURPOSE_ANY);
  // Refuses keys and digests weaker than 112 bits: SSL_CTX_set_security_level(3), level 2.
  X509_VERIFY_PARAM_set_auth_level(X509_STORE_get0_param(store.get()), 2);
  return store;
}

}  // namespace

void CodeSignature::MessageDeleter::operator()(CMS_ContentInfo_st* message) const {
  CMS_ContentInfo_free(message);
}

CodeSignature::CodeSignature(Message message, X509* signer, Content content,
                             std::optional<std::string> teamIdentifier)
    : message_(std::move(message)),
      signer_(signer),
      content_(std::move(content)),
      teamIdentifier_(std::move(teamIdentifier)) {}

std::optional<CodeSignature> CodeSignature::parse(std::string_view der) {
  initializeLibrary();
  if (der.size() > maximumBytes) return std::nullopt;
  const auto* begin = reinterpret_cast<const unsigned char*>(der.data());
  const unsigned char* at = begin;
  Message message(d2i_CMS_ContentInfo(nullptr, &at, static_cast<long>(der.size())));
  // What stands behind the message is covered by no signature.
  const bool whole = message && at == begin + der.size();
  ERR_clear_error();
  if (!whole || OBJ_obj2nid(CMS_get0_type(message.get())) != NID_pkcs7_signed) return std::nullopt;

  ASN1_OCTET_STRING** enclosed = CMS_get0_content(message.get());
  X509* signer = onlySigner(message.get());
  ERR_clear_error();
  if (enclosed == nullptr || *enclosed == nullptr || signer == nullptr) return std::nullopt;
  std::optional<Content> content =
      parseContent({reinterpret_cast<const char*>(ASN1_STRING_get0_data(*enclosed)),
                    static_cast<std::size_t>(ASN1_STRING_length(*enclosed))});
  if (!content) return std::nullopt;
  std::optional<std::string> team = onlyOrganizationalUnit(signer);
  return CodeSignature(std::move(message), signer, *std::move(content), std::move(team));
}

std::optional<CodeSignature::Content> CodeSignature::parseContent(std::string_view text) {
  const auto identifier = takeLine(text, "identifier=");
  const auto size = identifier ? takeLine(text, "size=") : std::nullopt;
  const auto digestText = size ? takeLine(text, "sha256=") : std::nullopt;
  const auto digest = digestText ? parseDigest(*digestText) : std::nullopt;
  if (!digest || identifier->empty() || !text.empty()) return std::nullopt;

  Content content{std::string(*identifier), 0, *digest};
  const char* sizeEnd = size->data() + size->size();
  const auto [end, error] = std::from_chars(size->data(), sizeEnd, content.size);
  if (error != std::errc() || end != sizeEnd) return std::nullopt;
  return content;
}

bool CodeSignature::isTrusted() const {
  const Store anchors = loadAnchors();
  const bool trusted =
      anchors && isLeafThatMaySignCode(signer_) &&
      CMS_verify(message_.get(), nullptr, anchors.get(), nullptr, nullptr, CMS_BINARY) == 1;
  ERR_clear_error();
  return trusted;
}

}  // namespace velmora
