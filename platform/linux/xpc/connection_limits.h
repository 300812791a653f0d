// How many connections there may be, for each user and in all. The last quarter of all is for users
// who have few, so that those who take what they can leave room for everybody else. Any thread may
// use it.
#pragma once

#include <sys/types.h>

#include <map>
#include <mutex>
#include <optional>

namespace velmora {

class ConnectionLimits {
 public:
  static constexpr unsigned maximumPerUser = 128;
  // Each keeps two descriptors, and a process may have 1,024 where nobody has said otherwise.
  static constexpr unsigned maximumInAll = 480;
  static constexpr unsigned few = 8;
  static constexpr unsigned maximumButForFew = maximumInAll - maximumInAll / 4;

  // One connection's place, given back when it is destroyed.
  class Place {
   public:
    Place(Place&& other) noexcept;
    Place(const Place&) = delete;
    Place& operator=(Place&&) = delete;
    Place& operator=(const Place&) = delete;
    ~Place();

   private:
    friend ConnectionLimits;
    Place(ConnectionLimits& limits, uid_t user) : limits_(&limits), user_(user) {}

    ConnectionLimits* limits_;
    uid_t user_;
  };

  // A place for a connection of `user`, or nothing when a limit is reached. The limits outlive
  // the place.
  std::optional<Place> take(uid_t user);

 private:
  void giveBack(uid_t user) noexcept;

  std::mutex mutex_;
  std::map<uid_t, unsigned> perUser_;
  unsigned inAll_ = 0;
};

}  // namespace velmora
