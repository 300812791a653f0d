// What the process does once, before anything else, for its own protection.
#pragma once

namespace velmora {

// Before any other thread exists, and before anything is opened:
// - occupies the standard descriptors that are closed, so that a client's socket can never become
//   standard error, to which a log may go;
// - ignores SIGPIPE and SIGXFSZ: writing to whoever is gone, or past a limit that whoever started
//   the helper has set, is an error of that write alone;
// - has the memory of a large request go back to the system with the request.
// Raises PlatformError.
void prepareProcess();

}  // namespace velmora
