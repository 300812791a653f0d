// The owners of posix_spawn's two parameter objects, and the one place that says what a child
// of the helper starts with.
#pragma once

#include <spawn.h>

namespace velmora {

// Default signal dispositions, an empty signal mask, and no descriptor but those that the file
// actions name.
class SpawnAttributes {
 public:
  // Raises PlatformError.
  SpawnAttributes();
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;
  ~SpawnAttributes() { ::posix_spawnattr_destroy(&attributes_); }

  posix_spawnattr_t* get() { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

class SpawnFileActions {
 public:
  // Raises PlatformError.
  SpawnFileActions();
  SpawnFileActions(const SpawnFileActions&) = delete;
  SpawnFileActions& operator=(const SpawnFileActions&) = delete;
  ~SpawnFileActions() { ::posix_spawn_file_actions_destroy(&actions_); }

  // In the child, `descriptor` becomes `childDescriptor`. Raises PlatformError.
  void addDuplicate(int descriptor, int childDescriptor);

  posix_spawn_file_actions_t* get() { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

}  // namespace velmora
