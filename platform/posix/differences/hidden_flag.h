// The file system's own mark of a hidden entry.
#pragma once

#include "platform/file_descriptor.h"

namespace velmora {

// Whether the entry `name` of the opened folder carries the flag; false where the system has none
// (Linux) and when the entry cannot be looked at. UF_HIDDEN on macOS: chflags(2).
bool isMarkedHidden(const FileDescriptor& directory, const char* name);

}  // namespace velmora
