// A command line that cannot be carried out.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "platform/localized_error.h"

namespace velmora {

class UsageError : public LocalizedError {
 public:
  // `command` is the one whose --help tells more; empty for the program's. `complaint` is empty
  // where what is wrong has been said already.
  UsageError(std::string_view command, std::string complaint)
      : command_(command), complaint_(std::move(complaint)) {}

  std::string_view command() const { return command_; }
  std::string errorDescription() const override { return complaint_; }

 private:
  std::string command_;
  std::string complaint_;
};

}  // namespace velmora
