// The removal of one item, and its undoing: stop the job, archive the property list, delete it.
#pragma once

#include <cstdint>
#include <filesystem>

#include "platform/deadline.h"
#include "removal/candidate.h"
#include "runner/helper_command_running.h"

namespace velmora {

// Stops the candidate's job if it is loaded, archives its property list into `folder`, for a
// request of `clientUserIdentifier`, and deletes it. `deadline` binds the two launchctl commands
// for that. Raises the error of the step that failed, unchanged; by then its archive entry is gone
// again, and its job loaded again if this call had stopped it. Only where the file is gone although
// its deletion failed, both are left: nothing else has its bytes, and no job could be loaded.
void removeCandidate(const Candidate& candidate, const std::filesystem::path& folder,
                     Deadline deadline, std::uint32_t clientUserIdentifier,
                     const HelperCommandRunning& runner);

}  // namespace velmora
