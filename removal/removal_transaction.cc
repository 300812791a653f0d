#include "removal/removal_transaction.h"

#include <string>

#include "removal/background_item_archive.h"
#include "removal/protected_file_operations.h"
#include "runner/helper_command_error.h"

namespace velmora {
namespace {

constexpr const char* launchctl = "/bin/launchctl";
constexpr double loadAgainSeconds = 3.0;

// Stops the job if it is loaded. Returns whether it has been stopped by this.
bool stopIfLoaded(const HelperCommandRunning& runner, const std::string& serviceTarget,
                  Deadline deadline) {
  if (!runner.runBeforeDeadline(launchctl, {"print", serviceTarget}, deadline).succeeded()) {
    return false;
  }
  const HelperCommandResult stopped =
      runner.runBeforeDeadline(launchctl, {"bootout", serviceTarget}, deadline);
  if (!stopped.succeeded()) throw HelperCommandError::failed(launchctl, stopped);
  return true;
}

// However this ends, the client is to see what made it necessary.
void loadAgain(const HelperCommandRunning& runner, const Candidate& candidate) noexcept {
  try {
    // Without a diagnostic file: the step that failed may have had no room either.
    (void)runner.runUnheard(launchctl, {"bootstrap", candidate.launchDomain, candidate.url},
                            loadAgainSeconds);
  } catch (...) {
  }
}

void archiveAndDelete(const Candidate& candidate, const std::filesystem::path& folder,
                      std::uint32_t clientUserIdentifier) {
  const ArchiveEntry entry = writeArchiveEntry(candidate, folder, clientUserIdentifier);
  try {
    removeCandidateFile(candidate);
  } catch (const CandidateFileGone&) {
    throw;
  } catch (...) {
    discardArchiveEntry(entry);
    throw;
  }
}

}  // namespace

void removeCandidate(const Candidate& candidate, const std::filesystem::path& folder,
                     Deadline deadline, std::uint32_t clientUserIdentifier,
                     const HelperCommandRunning& runner) {
  const std::string serviceTarget = candidate.launchDomain + "/" + candidate.label;
  const bool stopped = stopIfLoaded(runner, serviceTarget, deadline);
  try {
    archiveAndDelete(candidate, folder, clientUserIdentifier);
  } catch (const CandidateFileGone&) {
    throw;  // there is no file to load the job from
  } catch (...) {
    if (stopped) loadAgain(runner, candidate);
    throw;
  }
}

}  // namespace velmora
