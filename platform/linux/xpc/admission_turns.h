// Whose turn it is to be admitted. Admission costs far more than knocking, so newcomers are taken
// one at a time; and users in turn, so that one who knocks without pause waits for nobody but
// himself. Any thread may use it.
#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <cstddef>
#include <list>
#include <mutex>

namespace velmora {

class AdmissionTurns {
 public:
  // One newcomer's turn, over when it is destroyed.
  class Turn {
   public:
    explicit Turn(AdmissionTurns& turns) : turns_(turns) {}
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() { turns_.next(); }

   private:
    AdmissionTurns& turns_;
  };

  // Waits until it is the turn of a newcomer of `user`: after at most one of every other user that
  // waits, and after all of this user that came before. The turns outlive the turn.
  [[nodiscard]] Turn wait(uid_t user);

  // How many newcomers wait.
  std::size_t waiting();

 private:
  struct Newcomer {
    std::condition_variable called;
    bool isCalled = false;
    Newcomer* following = nullptr;  // of the same user
  };
  // A user's newcomers, each in its own thread's hands, in the order in which they came.
  struct Row {
    uid_t user;
    Newcomer* first;
    Newcomer* last;
  };

  void next() noexcept;

  std::mutex mutex_;
  bool isTaken_ = false;
  std::size_t waiting_ = 0;
  std::list<Row> rows_;  // the user whose turn is next comes first
};

}  // namespace velmora
