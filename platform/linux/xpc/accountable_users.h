// To whom a connection is counted. The identifiers of a subordinate range, subuid(5), are all at
// one user's disposal, who could be a crowd with them. Not for use by several threads at once.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/file_identity.h"

namespace velmora {

class AccountableUsers {
 public:
  // `path` is the file of the ranges.
  explicit AccountableUsers(std::string path = "/etc/subuid") : path_(std::move(path)) {}

  // The user to whose range `user` belongs (the first of several), or else `user`. The file is
  // looked at each time, and read when it has changed. One that cannot be read, or is larger than a
  // mebibyte, has no ranges; nor has a line that is no range. Raises std::bad_alloc.
  uid_t accountableFor(uid_t user);

 private:
  struct Range {
    uid_t owner;
    std::uint64_t begin;
    std::uint64_t end;
  };

  void readAgainIfChanged();
  static std::optional<Range> rangeIn(std::string_view line);

  const std::string path_;
  std::optional<FileIdentity> identity_;  // of the file that was read
  std::vector<Range> ranges_;
};

}  // namespace velmora
