#include "platform/linux/xpc/connection_limits.h"

#include <utility>

namespace velmora {

std::optional<ConnectionLimits::Place> ConnectionLimits::take(uid_t user) {
  const std::lock_guard lock(mutex_);
  if (inAll_ >= maximumInAll) return std::nullopt;
  unsigned& count = perUser_[user];
  if (count >= maximumPerUser) return std::nullopt;
  ++count;
  ++inAll_;
  return Place(*this, user);
}

void ConnectionLimits::giveBack(uid_t user) noexcept {
  const std::lock_guard lock(mutex_);
  const auto entry = perUser_.find(user);
  if (--entry->second == 0) perUser_.erase(entry);
  --inAll_;
}

ConnectionLimits::Place::Place(Place&& other) noexcept
    : limits_(std::exchange(other.limits_, nullptr)), user_(other.user_) {}

ConnectionLimits::Place::~Place() {
  if (limits_ != nullptr) limits_->giveBack(user_);
}

}  // namespace velmora
