// Code signatures: what the helper asks of the system about its own. The calls are those of
// Apple's Security framework, named after them, each with the arguments the helper uses.
// Any thread may call; nothing is cached between calls. None of them raises anything but
// std::bad_alloc: what cannot be read or verified is "nothing" or false.
#pragma once

#include <memory>
#include <optional>
#include <string>

namespace velmora {

// Running code.
class Code {
 public:
  class Implementation;
  explicit Code(std::shared_ptr<const Implementation> implementation);
  const Implementation& implementation() const { return *implementation_; }

 private:
  std::shared_ptr<const Implementation> implementation_;
};

// Code on disk, as it was when it was opened.
class StaticCode {
 public:
  class Implementation;
  explicit StaticCode(std::shared_ptr<const Implementation> implementation);
  const Implementation& implementation() const { return *implementation_; }

 private:
  std::shared_ptr<const Implementation> implementation_;
};

struct SigningInformation {
  // kSecCodeInfoTeamIdentifier; nothing when the signature names no team.
  std::optional<std::string> teamIdentifier;
};

// SecCodeCopySelf: the running helper, or nothing.
std::optional<Code> codeCopySelf();

// SecCodeCopyStaticCode: the file that `code` was started from, or nothing.
std::optional<StaticCode> codeCopyStaticCode(const Code& code);

// SecStaticCodeCheckValidity: whether the signature of `code` verifies against the file.
bool staticCodeCheckValidity(const StaticCode& code);

// SecCodeCopySigningInformation: what the signature of `code` says, verified or not; nothing for
// unsigned code.
std::optional<SigningInformation> codeCopySigningInformation(const StaticCode& code);

}  // namespace velmora
