// request FOLDER ARCHIVE DOMAIN LABEL…: the least that removing these items of a folder can take:
// two calls of launchctl for each, its two archive files and the two folders synced, its file
// unlinked; and how often our removal of them syncs.
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "benchmarks/subject.h"
#include "benchmarks/tool_floor.h"
#include "platform/file_descriptor.h"
#include "removal/privileged_legacy_background_item_removal_service.h"
#include "runner/helper_command_runner.h"

namespace {

std::atomic<unsigned> syncs = 0;

}  // namespace

// Stands before the C library's, for what is linked into this program as well.
extern "C" int fsync(int descriptor) {
  ++syncs;
  return static_cast<int>(::syscall(SYS_fsync, descriptor));
}

namespace velmora::bench {
namespace {

constexpr const char* launchctl = "/bin/launchctl";

struct Request {
  std::filesystem::path folder;
  std::filesystem::path archive;
  std::string domain;
  std::vector<std::string> labels;
};

void synchronizeFolder(const std::filesystem::path& path) {
  const FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  require(::fsync(folder.get()) == 0, "fsync");
}

void writeSynchronized(const std::filesystem::path& path, std::string_view bytes) {
  const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  require(::write(file.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) &&
              ::fsync(file.get()) == 0,
          path.c_str());
}

void removeBarely(const Request& request, const std::string& label) {
  const std::string target = request.domain + "/" + label;
  require(spawnAndWait(launchctl, {"print", target}) == 0, launchctl);
  require(spawnAndWait(launchctl, {"bootout", target}) == 0, launchctl);
  const std::filesystem::path file = request.folder / (label + ".plist");
  // As large as what is archived.
  const std::string bytes(700, ' ');
  writeSynchronized(request.archive / (label + ".copy"), bytes);
  writeSynchronized(request.archive / (label + ".json"), std::string_view(bytes).substr(0, 250));
  synchronizeFolder(request.archive);
  require(::unlink(file.c_str()) == 0, "unlink");
  synchronizeFolder(request.folder);
}

double syncsOfOurs(const Request& request, std::uint32_t user) {
  std::vector<std::string> keys;
  for (const std::string& label : request.labels) keys.push_back("userAgent|" + label);
  const PrivilegedLegacyBackgroundItemRemovalService service{
      .clientUserIdentifier = user,
      .locationsOverride = std::nullopt,
      .archiveBaseDirectory = request.archive,
      .runner = std::make_shared<HelperCommandRunner>(),
  };
  syncs = 0;
  require(service.removeItems(keys).size() == keys.size(), "our removal");
  return syncs;
}

}  // namespace
}  // namespace velmora::bench

int main(int count, char** words) {
  using namespace velmora::bench;  // NOLINT(google-build-using-namespace)
  if (count < 5) return 2;
  const Request request{words[1], words[2], words[3], {words + 4, words + count}};
  const std::string user = request.domain.substr(request.domain.find('/') + 1);
  return obey({{"floor", timed([&] {
                  for (const std::string& label : request.labels) removeBarely(request, label);
                })},
               {"syncs", [&](std::size_t) {
                  return syncsOfOurs(request, static_cast<std::uint32_t>(std::stoul(user)));
                }}});
}
