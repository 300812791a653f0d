// The way back: puts an archived property list in its place again. Used by a person, as root and
// without the helper.
#pragma once

#include "removal/archive_listing.h"
#include "runner/helper_command_running.h"

namespace velmora {

// Puts the item's file back where it was, with its bytes, the owner of its kind and mode 0644, and
// replaces nothing: whatever has the name already stays, a link too. The folder is reached as by
// openDirectoryNoFollow. File and name are on disk when it returns; the archive is unchanged.
// Raises what readArchivedFile raises, LegacyBackgroundItemRemovalError::unsafePath for the folder,
// and PlatformError; nothing has been put in place then, unless it is that somebody who may write
// in the folder has put something else there meanwhile.
void restoreArchivedItem(const ArchivedItem& item);

// Notes beside the item's record, which stays as it is, that it was restored now. Raises
// PlatformError.
void noteRestoration(const ArchivedItem& item);

// Loads the restored item's job in its launchd domain. Raises HelperCommandError, and what
// HelperCommandRunning::run raises.
void loadRestoredItem(const ArchivedItem& item, const HelperCommandRunning& runner);

}  // namespace velmora
