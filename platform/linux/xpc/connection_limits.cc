#include "platform/linux/xpc/connection_limits.h"

#include <utility>

namespace velmora {

std::optional<ConnectionLimits::Place> ConnectionLimits::take(uid_t user) {
  const std::lock_guard lock(mutex_);
  const auto entry = perUser_.find(user);
  const unsigned count = entry == perUser_.end() ? 0 : entry->second;
  if (count >= maximumPerUser) return std::nullopt;
  // So that a few users with many connections each leave room for those with one.
  if (inAll_ >= (count < few ? maximumInAll : maximumButForFew)) return std::nullopt;
  // First of the two, because it may raise.
  perUser_[user] = count + 1;
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
