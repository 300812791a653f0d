// A genuine signature must vouch for its own executable and for no other: what stands before the
// first NUL is the executable, what follows is the signature beside it. The key of the authority
// that the genuine seed leads to is gone.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <utility>

#include "platform/linux/code_signing/signed_executable.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string path = "/dev/shm/velmora-fuzz-" + std::to_string(::getpid());
  const std::string beside = path + ".signature";
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::string_view program = bytes.substr(0, bytes.find('\0'));
  const std::string_view der = bytes.substr(std::min(size, program.size() + 1));

  velmora::FileDescriptor file(::memfd_create("executable", MFD_CLOEXEC));
  if (::write(file.get(), program.data(), program.size()) < 0) std::abort();
  if (!(std::ofstream(beside) << der).flush()) std::abort();
  const velmora::SignedExecutable executable(std::move(file), path);
  ::unlink(beside.c_str());

  const auto signature = velmora::CodeSignature::parse(der);
  if (executable.signature().has_value() != signature.has_value()) std::abort();
  const bool genuine = signature && signature->isTrusted() && program == "#!/bin/sh\nexec true\n";
  if (executable.isValid(nullptr) != genuine) std::abort();
  return 0;
}
