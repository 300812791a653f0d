#include "benchmarks/signature_floor.h"

#include <fcntl.h>
#include <openssl/cms.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

#include "benchmarks/subject.h"
#include "platform/file_descriptor.h"

namespace velmora::bench {
namespace {

using Digest = std::array<unsigned char, EVP_MAX_MD_SIZE>;

using Store = std::unique_ptr<X509_STORE, decltype(&X509_STORE_free)>;

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

Store anchors() {
  Store store(X509_STORE_new(), &X509_STORE_free);
  const std::string pem = contentOf(VELMORA_CODE_SIGNING_ANCHORS);
  const std::unique_ptr<BIO, decltype(&BIO_free)> memory(
      BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), &BIO_free);
  while (X509* anchor = PEM_read_bio_X509(memory.get(), nullptr, nullptr, nullptr)) {
    X509_STORE_add_cert(store.get(), anchor);
    X509_free(anchor);
  }
  X509_STORE_set_purpose(store.get(), X509_PURPOSE_ANY);
  return store;
}

void hash(const std::string& path) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  require(file.isOpen(), path.c_str());
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                        &EVP_MD_CTX_free);
  EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr);
  std::vector<char> piece(65536);
  ssize_t size = 0;
  while ((size = ::read(file.get(), piece.data(), piece.size())) > 0) {
    EVP_DigestUpdate(context.get(), piece.data(), static_cast<std::size_t>(size));
  }
  Digest digest;
  EVP_DigestFinal_ex(context.get(), digest.data(), nullptr);
}

}  // namespace

void verifyBarely(const std::string& path) {
  OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG | OPENSSL_INIT_NO_ADD_ALL_CIPHERS |
                          OPENSSL_INIT_NO_LOAD_CRYPTO_STRINGS,
                      nullptr);
  hash(path);
  const std::string der = contentOf(path + ".signature");
  const auto* at = reinterpret_cast<const unsigned char*>(der.data());
  const std::unique_ptr<CMS_ContentInfo, decltype(&CMS_ContentInfo_free)> message(
      d2i_CMS_ContentInfo(nullptr, &at, static_cast<long>(der.size())), &CMS_ContentInfo_free);
  require(CMS_verify(message.get(), nullptr, anchors().get(), nullptr, nullptr, CMS_BINARY) == 1,
          "the signature");
}

}  // namespace velmora::bench
