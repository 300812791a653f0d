// The signature file of an executable: a CMS SignedData (RFC 5652, DER, content enclosed) over
// the lines identifier=…, size=… and sha256=… that describe the executable. A development
// stand-in for a Mach-O signature. Every byte of it may come from an attacker.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct CMS_ContentInfo_st;
struct x509_st;

namespace velmora {

using SHA256Digest = std::array<unsigned char, 32>;

class CodeSignature {
 public:
  // A larger file is no signature.
  static constexpr std::size_t maximumBytes = 65536;

  // What the signature says, unverified; nothing unless `der` is one SignedData with exactly one
  // signer, whose certificate is enclosed, by SHA-256, SHA-384 or SHA-512, over exactly the three
  // lines.
  static std::optional<CodeSignature> parse(std::string_view der);

  const std::string& identifier() const { return content_.identifier; }
  std::uint64_t executableSize() const { return content_.size; }
  const SHA256Digest& executableDigest() const { return content_.digest; }

  // The organisational unit of the signer's subject; nothing unless there is exactly one.
  const std::optional<std::string>& teamIdentifier() const { return teamIdentifier_; }

  // Whether the signature holds, by a certificate made for signing code that is no authority, is
  // valid now, and leads to one of the installed anchors, which are read afresh.
  bool isTrusted() const;

 private:
  struct Content {
    std::string identifier;
    std::uint64_t size;
    SHA256Digest digest;
  };
  struct MessageDeleter {
    void operator()(CMS_ContentInfo_st* message) const;
  };
  using Message = std::unique_ptr<CMS_ContentInfo_st, MessageDeleter>;

  CodeSignature(Message message, x509_st* signer, Content content,
                std::optional<std::string> teamIdentifier);
  static std::optional<Content> parseContent(std::string_view text);

  Message message_;
  x509_st* signer_;  // part of the message
  Content content_;
  std::optional<std::string> teamIdentifier_;
};

}  // namespace velmora
