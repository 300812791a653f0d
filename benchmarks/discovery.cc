// discovery FOLDER: finding 128 of the property lists in a folder of root's, by our discovery;
// barely, which only lists, opens, checks and reads, and keeps the 128; and in the same way with
// libplist reading each file's label.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "benchmarks/libplist_label.h"
#include "benchmarks/subject.h"
#include "platform/file_descriptor.h"
#include "platform/process.h"
#include "removal/candidate_discovery.h"

namespace velmora::bench {
namespace {

constexpr std::string_view extension = ".plist";
constexpr std::size_t requestedCount = 128;

using Names = std::unordered_set<std::string>;
using Kept = std::unordered_map<std::string, std::string>;

struct DirectoryCloser {
  void operator()(DIR* directory) const { ::closedir(directory); }
};
using Directory = std::unique_ptr<DIR, DirectoryCloser>;

bool isPropertyList(std::string_view name) {
  return name.front() != '.' && name.ends_with(extension);
}

// Calls `visit` with the name and the bytes of each property list that is root's regular file.
template <typename Visit>
void readAll(const std::string& folder, Visit visit) {
  const Directory directory(::opendir(folder.c_str()));
  require(directory != nullptr, "opendir");
  const int descriptor = ::dirfd(directory.get());
  std::vector<char> buffer(65536);
  // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread only.
  while (const dirent* entry = ::readdir(directory.get())) {
    const std::string_view name = entry->d_name;
    if (!isPropertyList(name)) continue;
    const FileDescriptor file(
        ::openat(descriptor, entry->d_name, O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0) continue;
    if (!S_ISREG(status.st_mode) || status.st_uid != 0) continue;
    const ssize_t size = ::read(file.get(), buffer.data(), buffer.size());
    if (size == status.st_size) visit(name, {buffer.data(), static_cast<std::size_t>(size)});
  }
}

// Each file is named as its label.
Names requestedLabels(const std::string& folder) {
  std::vector<std::string> labels;
  readAll(folder, [&](std::string_view name, std::string_view /*bytes*/) {
    labels.emplace_back(name.substr(0, name.size() - extension.size()));
  });
  Names requested;
  const std::size_t step = labels.size() / requestedCount;
  for (std::size_t i = 0; i < requestedCount; ++i) requested.insert(labels.at(i * step));
  return requested;
}

void checkFound(std::size_t count) {
  require(count == requestedCount, "another number of files than requested");
}

void discoverBarely(const std::string& folder, const Names& files) {
  Kept kept;
  readAll(folder, [&](std::string_view name, std::string_view bytes) {
    std::string key(name);
    if (files.contains(key)) kept.emplace(std::move(key), bytes);
  });
  checkFound(kept.size());
}

void discoverWithLibplist(const std::string& folder, const Names& labels) {
  Kept kept;
  readAll(folder, [&](std::string_view /*name*/, std::string_view bytes) {
    std::string label = labelByLibplist(bytes);
    if (labels.contains(label)) kept.emplace(std::move(label), bytes);
  });
  checkFound(kept.size());
}

void discover(const Location& location, const Names& keys) {
  const CandidateDiscovery discovery = discoverCandidates({location}, keys, Deadline::after(600));
  checkFound(discovery.candidatesByKey.size());
}

}  // namespace

int measureDiscovery(const std::string& folder) {
  prepareProcess();
  const Location location{.directory = folder,
                          .kind = LocationKind::systemDaemon,
                          .expectedOwner = 0,
                          .launchDomain = "system"};
  const Names labels = requestedLabels(folder);
  Names files;
  Names keys;
  for (const std::string& label : labels) {
    files.insert(label + std::string(extension));
    keys.insert(discoveryKey(location.kind, label));
  }
  return obey({{"ours", timed([&] { discover(location, keys); })},
               {"floor", timed([&] { discoverBarely(folder, files); })},
               {"libplist", timed([&] { discoverWithLibplist(folder, labels); })}});
}

}  // namespace velmora::bench

int main(int count, char** words) {
  return count == 2 ? velmora::bench::measureDiscovery(words[1]) : 2;
}
