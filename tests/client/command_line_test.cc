#include "client/command_line.h"

#include <getopt.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace velmora {
namespace {

using Words = std::vector<std::string>;

CommandLine parsed(Words words) {
  words.insert(words.begin(), "velmoractl");
  std::vector<char*> arguments(words.size());
  std::ranges::transform(words, arguments.begin(), [](auto& word) { return word.data(); });
  optind = 1;
  return parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

TEST(CommandLineTest, letsWrongUsageThrough) {
  const std::pair<Words, const char*> cases[] = {
      {{}, "which command?"},
      {{"\x1b[2J"}, "there is no command \\x1b[2J"},
      {{"remove"}, "remove: which items?"},
      {{"remove", "a/b", "a\xFF"}, "a\\xff is no KIND/LABEL or KIND|LABEL"}};
  for (const auto& [words, complaint] : cases) {
    EXPECT_TRUE(parsed(words).isWrong) << complaint;
    EXPECT_EQ(parsed(words).complaint, complaint);
  }
}

}  // namespace
}  // namespace velmora
