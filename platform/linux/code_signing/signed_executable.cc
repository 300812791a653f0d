#include "platform/linux/code_signing/signed_executable.h"

#include <openssl/evp.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "platform/descriptor_io.h"
#include "platform/linux/code_signing/bounded_file.h"
#include "platform/portable/code_requirement/code_requirement.h"

namespace velmora {
namespace {

constexpr std::size_t pieceBytes = 65536;

bool hasSize(int descriptor, std::uint64_t size) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
         static_cast<std::uint64_t>(status.st_size) == size;
}

// The digest of the first `size` bytes, or nothing when there are fewer.
std::optional<SHA256Digest> digestOf(const FileDescriptor& executable, std::uint64_t size) {
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                        &EVP_MD_CTX_free);
  if (!context || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1) return std::nullopt;

  std::vector<char> piece(pieceBytes);
  for (std::uint64_t at = 0; at < size; at += piece.size()) {
    piece.resize(std::min<std::uint64_t>(piece.size(), size - at));
    if (readAt(executable, at, piece) != piece.size()) return std::nullopt;
    if (EVP_DigestUpdate(context.get(), piece.data(), piece.size()) != 1) return std::nullopt;
  }
  SHA256Digest digest{};
  if (EVP_DigestFinal_ex(context.get(), digest.data(), nullptr) != 1) return std::nullopt;
  return digest;
}

std::optional<CodeSignature> readSignature(const std::string& path) {
  const auto der = readBoundedFile(path + ".signature", CodeSignature::maximumBytes);
  return der ? CodeSignature::parse(*der) : std::nullopt;
}

}  // namespace

SignedExecutable::SignedExecutable(FileDescriptor executable, const std::string& path)
    : executable_(std::move(executable)), signature_(readSignature(path)) {}

bool SignedExecutable::isValid(const CodeRequirement* requirement) const {
  // The cheap question last: whom the signature names counts for nothing before it is trusted.
  if (!signature_ || !signature_->isTrusted()) return false;
  if (requirement != nullptr &&
      !requirement->isSatisfiedBy(signature_->identifier(), signature_->teamIdentifier())) {
    return false;
  }
  // Before hashing: a file that has become huge costs nothing. A longer one would match by its
  // beginning.
  if (!hasSize(executable_.get(), signature_->executableSize())) return false;
  return digestOf(executable_, signature_->executableSize()) == signature_->executableDigest();
}

}  // namespace velmora
