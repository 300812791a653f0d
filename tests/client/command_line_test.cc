#include "client/command_line.h"

#include <getopt.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "client/usage_error.h"
#include "raised.h"

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

TEST(CommandLine, letsWrongUsageThrough) {
  const std::pair<Words, const char*> cases[] = {
      {{}, "which command?"},
      {{"\x1b[2J"}, "there is no command \\x1b[2J"},
      {{"version", "--yes"}, "version has no option --yes"},
      {{"-yx", "list"}, "there is no option -x"},
      {{"list", "--json=1"}, "there is no option --json=1"},
      {{"remove", "--yes", "--dry-run", "a/b"}, "remove: either --yes or --dry-run"},
      {{"free-memory", "--wait=-1"}, "--wait takes a whole number of seconds, not -1"},
      {{"help", "snapshots"}, "there is no command snapshots"},
      {{"thin"}, "there is no command thin; did you mean thin-local-snapshots?"},
      {{"mooVe"}, "there is no command mooVe"}};
  for (const auto& [words, complaint] : cases) {
    const auto error = raised<UsageError>([&given = words] { (void)parsed(given); });
    EXPECT_EQ(error.errorDescription(), complaint);
  }
}

}  // namespace
}  // namespace velmora
