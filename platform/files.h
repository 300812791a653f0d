// File management that differs between systems or is wanted in more than one room.
#pragma once

#include <filesystem>

namespace velmora {

// The folder for files that live no longer than a call. Never taken from the environment, which
// whoever started the helper could have set. "/tmp" on Linux.
std::filesystem::path temporaryDirectory();

}  // namespace velmora
