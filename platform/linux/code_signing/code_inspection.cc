#include "platform/code_inspection.h"

#include <fcntl.h>

#include <system_error>

#include "platform/file_descriptor.h"
#include "platform/linux/code_signing/signed_executable.h"
#include "platform/portable/code_requirement/code_requirement.h"

namespace velmora {
namespace {

FileDescriptor openExecutable(const std::filesystem::path& path) {
  return FileDescriptor(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

}  // namespace

CodeInspection inspectCode(const std::filesystem::path& executable) {
  FileDescriptor file = openExecutable(executable);
  if (!file.isOpen()) return {};
  const SignedExecutable code(std::move(file), executable);
  const auto& signature = code.signature();
  if (!signature) return {.verdict = CodeInspection::Verdict::unsignedCode};
  CodeInspection inspection{.verdict = CodeInspection::Verdict::valid,
                            .identifier = signature->identifier(),
                            .teamIdentifier = signature->teamIdentifier()};
  if (!signature->isTrusted()) {
    inspection.verdict = CodeInspection::Verdict::untrusted;
  } else if (!code.isValid(nullptr)) {
    inspection.verdict = CodeInspection::Verdict::altered;
  }
  return inspection;
}

bool codeSatisfies(const std::filesystem::path& executable, const std::string& requirement) {
  const CodeRequirement parsed = CodeRequirement::parse(requirement);
  FileDescriptor file = openExecutable(executable);
  return file.isOpen() && SignedExecutable(std::move(file), executable).isValid(&parsed);
}

std::filesystem::path executableOfThisProcess() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error);
}

}  // namespace velmora
