// An executable file together with the signature beside it, both as they were when opened.
#pragma once

#include <optional>
#include <string>

#include "platform/file_descriptor.h"
#include "platform/linux/code_signing/code_signature.h"

namespace velmora {

class CodeRequirement;

class SignedExecutable {
 public:
  // `executable` is open for reading; its signature is looked for at `path` + ".signature".
  SignedExecutable(FileDescriptor executable, const std::string& path);

  // Nothing for an executable whose signature is missing or malformed.
  const std::optional<CodeSignature>& signature() const { return signature_; }

  // Whether the signature is trusted, satisfies `requirement` (null: none), and is over exactly
  // these bytes. Cheap tests come first: the whole file is read only for a genuine signature.
  bool isValid(const CodeRequirement* requirement) const;

 private:
  FileDescriptor executable_;
  std::optional<CodeSignature> signature_;
};

}  // namespace velmora
