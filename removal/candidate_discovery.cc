#include "removal/candidate_discovery.h"

#include <fcntl.h>

#include <cerrno>
#include <optional>
#include <utility>

#include "platform/files.h"
#include "platform/platform_error.h"
#include "platform/text.h"
#include "platform/utf8.h"
#include "runner/helper_command_error.h"

namespace velmora {
namespace {

bool isNamedAsPropertyList(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return false;
  const std::optional<std::string> extension = decodeUTF8(name.substr(dot + 1));
  return extension && lowercased(*extension) == "plist";
}

// A user's files, if there are enough of them or large enough, would otherwise have the helper read
// as long as that user likes, and refuse everybody else meanwhile. The client sees the message that
// launchctl, the next step, would end with at this time.
ReadingCheckpoint endAt(Deadline deadline) {
  return [deadline] {
    if (deadline.hasPassed()) throw HelperCommandError::timedOut("launchctl");
  };
}

// The names, each ended by a NUL: a folder may have millions, and a text for each would cost more
// than twice as much.
std::string namesOfPropertyLists(const FileDescriptor& directory,
                                 const ReadingCheckpoint& checkpoint) {
  std::string names;
  visitVisibleEntries(directory, [&](std::string_view name) {
    checkpoint();
    if (isNamedAsPropertyList(name)) names.append(name) += '\0';
  });
  return names;
}

// Keeps a candidate that is the first of its key; any other one makes the key ambiguous.
void keep(CandidateDiscovery& discovery, const std::string& key, Candidate&& candidate) {
  const bool isFirst = discovery.candidatesByKey.try_emplace(key, std::move(candidate)).second;
  if (!isFirst) discovery.ambiguousKeys.insert(key);
}

}  // namespace

CandidateDiscovery discoverCandidates(const std::vector<Location>& locations,
                                      const std::unordered_set<std::string>& requestedKeys,
                                      Deadline deadline) {
  CandidateDiscovery discovery;
  const FileVisitor keepRequested = [&](std::string_view /*name*/, CandidateReading reading) {
    auto* candidate = std::get_if<Candidate>(&reading);
    if (candidate == nullptr) return;
    const std::string key = discoveryKey(candidate->kind, candidate->label);
    if (requestedKeys.contains(key)) keep(discovery, key, std::move(*candidate));
  };
  for (const Location& location : locations) {
    try {
      examinePropertyLists(location, deadline, keepRequested);
    } catch (const PlatformError&) {
      // A folder that cannot be listed contributes nothing.
    }
  }
  return discovery;
}

void examinePropertyLists(const Location& location, Deadline deadline, const FileVisitor& visit) {
  const FileDescriptor directory(
      ::open(location.directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory.isOpen()) throw PlatformError("list", location.directory, errno);
  const ReadingCheckpoint checkpoint = endAt(deadline);
  // All names first: from half a listing, one of two files with the same label would seem unique.
  const std::string names = namesOfPropertyLists(directory, checkpoint);
  std::string name;
  for (std::size_t at = 0; at < names.size();) {
    name = names.c_str() + at;
    checkpoint();
    visit(name, readCandidate(directory, name, location, checkpoint));
    at += name.size() + 1;
  }
}

std::string discoveryKey(LocationKind kind, std::string_view label) {
  return canonicalForm(itemKey(kind, label));
}

}  // namespace velmora
