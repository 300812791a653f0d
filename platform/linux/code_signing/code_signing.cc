#include "platform/code_signing.h"

#include <fcntl.h>

#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/file_descriptor.h"
#include "platform/linux/code_signing/signed_executable.h"

namespace velmora {
namespace {

// Read before main: a file put in the executable's place later must be found under this name,
// and not under what the kernel calls the replaced one. Empty when it cannot be read.
const std::string pathAtStart = [] {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).string();
}();

}  // namespace

class Code::Implementation {
 public:
  std::string path;
};

class StaticCode::Implementation {
 public:
  SignedExecutable executable;
};

Code::Code(std::shared_ptr<const Implementation> implementation)
    : implementation_(std::move(implementation)) {}

StaticCode::StaticCode(std::shared_ptr<const Implementation> implementation)
    : implementation_(std::move(implementation)) {}

std::optional<Code> codeCopySelf() {
  if (pathAtStart.empty()) return std::nullopt;
  return Code(std::make_shared<Code::Implementation>(Code::Implementation{pathAtStart}));
}

std::optional<StaticCode> codeCopyStaticCode(const Code& code) {
  const std::string& path = code.implementation().path;
  FileDescriptor executable(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!executable.isOpen()) return std::nullopt;
  return StaticCode(std::make_shared<StaticCode::Implementation>(
      StaticCode::Implementation{SignedExecutable(std::move(executable), path)}));
}

bool staticCodeCheckValidity(const StaticCode& code) {
  return code.implementation().executable.isValid(nullptr);
}

std::optional<SigningInformation> codeCopySigningInformation(const StaticCode& code) {
  const auto& signature = code.implementation().executable.signature();
  if (!signature) return std::nullopt;
  return SigningInformation{signature->teamIdentifier()};
}

}  // namespace velmora
