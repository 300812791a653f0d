// A launchd folder of a test's own, and a stand-in for launchctl.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "removal/candidate_discovery.h"
#include "runner/helper_command_running.h"
#include "temporary_folder.h"

namespace velmora {

inline std::string propertyList(const std::string& label) {
  return "<plist version=\"1.0\"><dict><key>Label</key><string>" + label +
         "</string></dict></plist>\n";
}

inline std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class LaunchdFolder {
 public:
  LaunchdFolder() { std::filesystem::create_directories(path()); }

  std::filesystem::path path() const { return root / "Library/LaunchAgents"; }
  std::filesystem::path base() const { return root / "Archive/Backups"; }

  Location location(LocationKind kind = LocationKind::userAgent) const {
    return {path(), kind, ::geteuid(), "gui/501"};
  }

  std::filesystem::path write(const std::string& name, const std::string& bytes) const {
    std::ofstream(path() / name, std::ios::binary) << bytes;
    return path() / name;
  }
  std::filesystem::path writeItem(const std::string& label) const {
    return write(label + ".plist", propertyList(label));
  }

  // As another user could have put it there.
  std::filesystem::path giveAway(const std::filesystem::path& file) const {
    if (::chown(file.c_str(), 54321, 0) != 0) throw std::runtime_error("these tests run as root");
    return file;
  }

  Candidate candidate(const std::string& label) const {
    return discoverCandidates({location()})
        .candidatesByKey.at(discoveryKey(LocationKind::userAgent, label));
  }

  const TemporaryFolder root;
};

// Records each call as words; every result is what `answer` says, success without one.
class FakeLaunchctl final : public HelperCommandRunning {
 public:
  struct Call {
    std::vector<std::string> words;
    double timeoutSeconds;
  };

  HelperCommandResult run(const std::string& executablePath,
                          const std::vector<std::string>& arguments,
                          double timeoutSeconds) const override {
    std::vector<std::string> words{executablePath};
    words.insert(words.end(), arguments.begin(), arguments.end());
    calls.push_back({words, timeoutSeconds});
    return answer ? answer(arguments[0]) : HelperCommandResult{0, true, ""};
  }

  std::vector<std::string> verbs() const {
    std::vector<std::string> verbs;
    for (const Call& call : calls) verbs.push_back(call.words.at(1));
    return verbs;
  }

  std::function<HelperCommandResult(const std::string& verb)> answer;
  mutable std::vector<Call> calls;
};

}  // namespace velmora
