// Which file it is, and since when it has been as it is.
#pragma once

#include <sys/stat.h>

namespace velmora {

// The change time is part of it because a number is given to the next file once it is free.
class FileIdentity {
 public:
  explicit FileIdentity(const struct stat& status)
      : device_(status.st_dev), number_(status.st_ino), changed_(status.st_ctim) {}

  bool operator==(const FileIdentity& other) const {
    return device_ == other.device_ && number_ == other.number_ &&
           changed_.tv_sec == other.changed_.tv_sec && changed_.tv_nsec == other.changed_.tv_nsec;
  }

 private:
  dev_t device_;
  ino_t number_;
  timespec changed_;
};

}  // namespace velmora
