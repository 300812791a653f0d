#include "platform/linux/xpc/admission_turns.h"

#include <algorithm>

namespace velmora {

AdmissionTurns::Turn AdmissionTurns::wait(uid_t user) {
  std::unique_lock lock(mutex_);
  if (!isTaken_) {
    isTaken_ = true;
    return Turn(*this);
  }
  // On this thread's own stack: waiting takes no memory that could run out, but for a user's first.
  Newcomer self;
  const auto row = std::ranges::find(rows_, user, &Row::user);
  if (row == rows_.end()) {
    rows_.push_back({user, &self, &self});
  } else {
    row->last->following = &self;
    row->last = &self;
  }
  ++waiting_;
  self.called.wait(lock, [&self] { return self.isCalled; });
  return Turn(*this);
}

std::size_t AdmissionTurns::waiting() {
  const std::lock_guard lock(mutex_);
  return waiting_;
}

// Whoever is called has the turn already: nobody who comes meanwhile can take it.
void AdmissionTurns::next() noexcept {
  const std::lock_guard lock(mutex_);
  isTaken_ = !rows_.empty();
  if (!isTaken_) return;
  Row& row = rows_.front();
  Newcomer& called = *row.first;
  row.first = called.following;
  if (row.first == nullptr) {
    rows_.pop_front();
  } else {
    rows_.splice(rows_.end(), rows_, rows_.begin());  // behind every other user
  }
  --waiting_;
  // Still under the mutex: once it is free, the newcomer goes on and is gone.
  called.isCalled = true;
  called.called.notify_one();
}

}  // namespace velmora
