// Code signatures as a person asks about them: what is wrong with this file's? Any thread may call.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace velmora {

struct CodeInspection {
  enum class Verdict {
    unreadable,
    unsignedCode,
    untrusted,  // by its certificate: of an unknown authority, run out, or not made for code
    altered,    // the file is not the one that was signed
    valid,
  };

  Verdict verdict = Verdict::unreadable;
  // As the signature has them, verified or not.
  std::string identifier = {};
  std::optional<std::string> teamIdentifier = {};
};

CodeInspection inspectCode(const std::filesystem::path& executable);

// Whether the signature of `executable` is valid and satisfies `requirement` (Apple's code signing
// requirement language). Raises PlatformError when the text is no requirement.
bool codeSatisfies(const std::filesystem::path& executable, const std::string& requirement);

// The file that this process was started from; empty when the system does not tell.
std::filesystem::path executableOfThisProcess();

}  // namespace velmora
