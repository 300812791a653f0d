#include "removal/location.h"

#include <pwd.h>

#include <cerrno>
#include <cstddef>
#include <optional>

#include "platform/utf8.h"
#include "removal/legacy_background_item_removal_error.h"

namespace velmora {
namespace {

constexpr std::size_t firstRecordBytes = 4096;
constexpr std::size_t maximumRecordBytes = std::size_t{1} << 20;

// The home folder that the user database has for `user`: getpwuid(3), in its form for programs
// with threads. Nothing when it has no such user or home, fails, or gives an absurdly long record.
std::optional<std::string> homeDirectoryOf(uid_t user) {
  for (std::size_t size = firstRecordBytes; size <= maximumRecordBytes; size *= 2) {
    std::vector<char> storage(size);
    passwd record{};
    passwd* found = nullptr;
    const int code = ::getpwuid_r(user, &record, storage.data(), storage.size(), &found);
    // With more room; it also bounds how often an interrupted look-up is made again.
    if (code == ERANGE || code == EINTR) continue;
    if (found == nullptr || found->pw_dir == nullptr) return std::nullopt;
    return found->pw_dir;
  }
  return std::nullopt;
}

// A relative path starts at "/", where launchd starts a daemon.
std::filesystem::path standardized(const std::string& path) {
  return (std::filesystem::path("/") / path).lexically_normal();
}

}  // namespace

std::vector<Location> defaultLocations(std::uint32_t clientUserIdentifier) {
  const std::optional<std::string> home = homeDirectoryOf(clientUserIdentifier);
  // A path that is no text could be neither recorded nor replied; better said before a job is
  // stopped.
  if (!home || !isUTF8(*home)) throw LegacyBackgroundItemRemovalError::userUnavailable();
  const std::string userDomain = "gui/" + std::to_string(clientUserIdentifier);
  return {
      {standardized(*home) / "Library/LaunchAgents", LocationKind::userAgent, clientUserIdentifier,
       userDomain},
      {"/Library/LaunchAgents", LocationKind::sharedAgent, 0, userDomain},
      {"/Library/LaunchDaemons", LocationKind::systemDaemon, 0, "system"},
  };
}

}  // namespace velmora
