#include "client/command_line.h"

#include <getopt.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace velmora {
namespace {

CommandLine parsed(std::vector<std::string> words) {
  words.insert(words.begin(), "velmoractl");
  std::vector<char*> arguments(words.size());
  std::ranges::transform(words, arguments.begin(), [](auto& word) { return word.data(); });
  optind = 1;
  return parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

TEST(CommandLineTest, misreadsAnItem) {
  const std::pair<const char*, const char*> cases[] = {
      {"userAgent/org.example.job", "userAgent|org.example.job"},
      {"userAgent|a/b", "userAgent|a/b"},
      {"userAgent/gr\u00F6\u00DFe/b|c", "userAgent|gr\u00F6\u00DFe/b|c"},
      {"|userAgent|a", "|userAgent|a"},
      {"agent/", "agent|"}};
  for (const auto& [argument, key] : cases) {
    EXPECT_EQ(parsed({"remove", argument}).items, std::vector<std::string>{key});
  }
}

TEST(CommandLineTest, takesOptionsInOnePlaceOnly) {
  for (const auto& words : {std::vector<std::string>{"remove", "a/b", "--yes", "c/d"},
                            {"-y", "remove", "a/b", "c/d"},
                            {"remove", "-y", "--", "a/b", "c/d"}}) {
    const CommandLine line = parsed(words);
    EXPECT_TRUE(line.isConfirmed);
    EXPECT_EQ(line.items, (std::vector<std::string>{"a|b", "c|d"}));
  }
  EXPECT_EQ(parsed({"remove", "--", "--yes/b"}).items, std::vector<std::string>{"--yes|b"});
  EXPECT_FALSE(parsed({"remove", "a/b"}).isConfirmed);
  EXPECT_TRUE(parsed({"list", "--json"}).asJSON);
  EXPECT_TRUE(parsed({"remove", "--help"}).wantsHelp);
}

TEST(CommandLineTest, letsWrongUsageThrough) {
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{}, "which command?"},
      {{"\x1b[2J"}, "there is no command \\x1b[2J"},
      {{"version", "now"}, "version takes no arguments"},
      {{"list", "--yes"}, "list has no option --yes"},
      {{"remove", "--json", "a/b"}, "remove has no option --json"},
      {{"remove"}, "remove: which items?"},
      {{"remove", "a/b", "userAgent"}, "userAgent is no KIND/LABEL or KIND|LABEL"},
      {{"remove", "a/\xFF"}, "a/\\xff is no KIND/LABEL or KIND|LABEL"},
  };
  for (const auto& [words, complaint] : cases) {
    const CommandLine line = parsed(words);
    EXPECT_TRUE(line.isWrong) << complaint;
    EXPECT_EQ(line.complaint, complaint);
  }
}

}  // namespace
}  // namespace velmora
