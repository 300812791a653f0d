#include "removal/candidate_discovery.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <map>

#include "launchd_folder.h"

namespace velmora {
namespace {

class CandidateDiscoveryTest : public testing::Test {
 protected:
  std::vector<std::string> keys(const std::vector<Location>& locations) const {
    std::vector<std::string> keys;
    for (const auto& [key, candidate] : discoverCandidates(locations).candidatesByKey) {
      keys.push_back(key);
    }
    std::ranges::sort(keys);
    return keys;
  }
  std::vector<std::string> keys() const { return keys({folder.location()}); }

  // The refusal of each examined file by its name; of a candidate, nothing.
  std::map<std::string, std::string> refusals() const {
    std::map<std::string, std::string> refusals;
    discoverCandidates({folder.location()}, [&](const ExaminedFile& file) {
      const auto* refusal = std::get_if<CandidateRefusal>(&file.reading.outcome);
      refusals[std::string(file.name)] = refusal ? description(*refusal) : "";
    });
    return refusals;
  }

  const LaunchdFolder folder;
};

TEST_F(CandidateDiscoveryTest, tellsOtherThanTheFileHas) {
  const auto path = folder.write("named otherwise.PList", propertyList("org.example.job"));
  const Candidate candidate = folder.candidate("org.example.job");
  EXPECT_EQ(candidate.url.string(), path.string());
  EXPECT_EQ(candidate.label, "org.example.job");
  EXPECT_EQ(candidate.kind, LocationKind::userAgent);
  EXPECT_EQ(candidate.launchDomain, "gui/501");
  EXPECT_EQ(candidate.expectedOwner, ::geteuid());
  EXPECT_EQ(candidate.data, contentOf(path));
}

TEST_F(CandidateDiscoveryTest, takesOrBlocksOnWhatIsNoSafePropertyList) {
  folder.writeItem("fine");
  std::filesystem::create_symlink("fine.plist", folder.path() / "link.plist");
  std::filesystem::create_symlink("nowhere", folder.path() / "dangling.plist");
  ::mkfifo((folder.path() / "pipe.plist").c_str(), 0600);
  std::filesystem::create_directory(folder.path() / "folder.plist");
  folder.write("folder.plist/inside.plist", propertyList("inside"));
  std::filesystem::create_symlink("/dev/zero", folder.path() / "device.plist");
  const int server = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{AF_UNIX, {}};
  folder.path().string().append("/socket.plist").copy(address.sun_path, sizeof address.sun_path);
  EXPECT_EQ(::bind(server, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ::close(server);
  folder.giveAway(folder.writeItem("foreign"));
  for (const char* name : {".hidden.plist", "job.plist.bak", "plist", "\xFF.plist"}) {
    folder.write(name, propertyList("name"));
  }
  folder.write("empty.plist", "");
  folder.write("array.plist", "<plist><array/></plist>");
  folder.write("unlabelled.plist", "<plist><dict/></plist>");
  folder.write("number.plist", "<plist><dict><key>Label</key><integer>1</integer></dict></plist>");
  for (const char* label : {"Com.Apple.foo", "com.velmora.x", "a b"}) folder.writeItem(label);
  folder.write("damaged.plist", propertyList("damaged").substr(0, 70));

  EXPECT_EQ(keys(), std::vector<std::string>{"userAgent|fine"});
  auto reasons = refusals();
  EXPECT_EQ(reasons.size(), 17U) << "hidden files and other names are not even examined";
  const std::pair<const char*, const char*> expected[] = {
      {"link.plist", "is a symbolic link"},
      {"pipe.plist", "is not a regular file"},
      {"foreign.plist", "belongs to another user than this folder demands"},
      {"\xFF.plist", "has a name that is not valid UTF-8"},
      {"array.plist", "is a property list, but not a dictionary"},
      {"unlabelled.plist", "has no label"},
      {"number.plist", "has a label that is not text"},
      {"Com.Apple.foo.plist", "has a label that is protected or not allowed"}};
  for (const auto& [name, reason] : expected) EXPECT_EQ(reasons[name], reason) << name;
}

TEST_F(CandidateDiscoveryTest, takesOneOfTwoFilesWithTheSameKey) {
  char name = 'a';
  for (const char* label : {"twice", "twice", "thrice", "thrice", "thrice", "\u00E9", "e\u0301",
                            "Case", "case", "once"}) {
    folder.write(std::string(1, name++) + ".plist", propertyList(label));
  }
  folder.giveAway(folder.write("0.plist", propertyList("once")));
  EXPECT_EQ(keys(),
            (std::vector<std::string>{"userAgent|Case", "userAgent|case", "userAgent|once"}));
  const CandidateDiscovery found = discoverCandidates({folder.location()});
  EXPECT_EQ(found.ambiguousKeys, (std::unordered_set<std::string>{
                                     "userAgent|thrice", "userAgent|twice", "userAgent|e\u0301"}));

  const Location shared = folder.location(LocationKind::sharedAgent);
  EXPECT_EQ(keys({folder.location(), shared}).size(), 6U) << "kinds are apart";
  EXPECT_TRUE(keys({folder.location(), folder.location()}).empty()) << "folders are not";
}

TEST_F(CandidateDiscoveryTest, failsForOneFolderOrTakesMemoryForOneFile) {
  Location missing = folder.location();
  missing.directory = folder.root / "missing";
  Location file = folder.location();
  file.directory = folder.writeItem("job");
  EXPECT_EQ(keys({missing, file, folder.location()}), std::vector<std::string>{"userAgent|job"});

  const auto huge = folder.write("huge.plist", "");
  ASSERT_EQ(::truncate(huge.c_str(), off_t{1} << 43), 0) << "sparse files are needed";
  EXPECT_EQ(refusals()["huge.plist"], "is larger than the memory that can be spared");
  EXPECT_EQ(keys(), std::vector<std::string>{"userAgent|job"});
}

}  // namespace
}  // namespace velmora
