#include "runner/helper_command_error.h"

#include <gtest/gtest.h>

#include <limits>

#include "runner/helper_command_result.h"

namespace velmora {
namespace {

TEST(HelperCommandError, changesNoWordThatReachesTheClient) {
  using Error = HelperCommandError;
  const HelperCommandResult killed{9, false, "half a\nsentence"};
  const HelperCommandResult silent{1, true, ""};
  const std::pair<Error, const char*> cases[] = {
      {Error::timedOut("purge"),
       "purge did not finish in time, so the maintenance helper stopped it."},
      {Error::failed("killall", 1, ""), "killall exited with status 1"},
      {Error::failed("killall", 1, "no process"), "killall exited with status 1: no process"},
      {Error::failed("a b", std::numeric_limits<std::int32_t>::min(), ""),
       "a b exited with status -2147483648"},
      {Error::failed("/usr/bin/killall", silent), "killall exited with status 1"},
      {Error::failed("/bin/launchctl", killed), "launchctl exited with status 9: half a\nsentence"},
      {Error::diagnosticUnavailable(),
       "The maintenance helper could not create a secure diagnostic file."},
  };
  for (const auto& [error, text] : cases) EXPECT_EQ(error.errorDescription(), text);
}

}  // namespace
}  // namespace velmora
