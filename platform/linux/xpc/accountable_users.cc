#include "platform/linux/xpc/accountable_users.h"

#include <pwd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <system_error>

#include "platform/linux/code_signing/bounded_file.h"

namespace velmora {
namespace {

constexpr std::size_t maximumFileBytes = std::size_t{1} << 20;

std::optional<std::uint32_t> numberIn(std::string_view text) {
  std::uint32_t number = 0;
  const char* textEnd = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), textEnd, number);
  return error == std::errc() && end == textEnd ? std::optional(number) : std::nullopt;
}

std::optional<uid_t> userNamed(const std::string& name) {
  std::array<char, 16384> storage;
  passwd record{};
  passwd* found = nullptr;
  ::getpwnam_r(name.c_str(), &record, storage.data(), storage.size(), &found);
  return found != nullptr ? std::optional(found->pw_uid) : std::nullopt;
}

// Takes the next piece of `text`, up to `end` or the end of the whole.
std::string_view takeUpTo(char end, std::string_view& text) {
  const std::string_view piece = text.substr(0, text.find(end));
  text.remove_prefix(std::min(piece.size() + 1, text.size()));
  return piece;
}

}  // namespace

uid_t AccountableUsers::accountableFor(uid_t user) {
  readAgainIfChanged();
  const auto range = std::ranges::find_if(
      ranges_, [user](const Range& each) { return user >= each.begin && user < each.end; });
  return range == ranges_.end() ? user : range->owner;
}

void AccountableUsers::readAgainIfChanged() {
  struct stat status {};
  // One call for each newcomer, instead of reading the file for each.
  const bool exists = ::stat(path_.c_str(), &status) == 0;
  if (exists && identity_ == FileIdentity(status)) return;
  identity_.reset();
  ranges_.clear();
  if (!exists) return;
  const std::optional<std::string> bytes = readBoundedFile(path_, maximumFileBytes);
  for (std::string_view rest = bytes ? std::string_view(*bytes) : ""; !rest.empty();) {
    if (const auto range = rangeIn(takeUpTo('\n', rest))) ranges_.push_back(*range);
  }
  // Of the time before reading: what was written since is read with the next newcomer.
  identity_ = FileIdentity(status);
}

// "NAME-OR-NUMBER:BEGIN:COUNT"
std::optional<AccountableUsers::Range> AccountableUsers::rangeIn(std::string_view line) {
  const std::string owner(takeUpTo(':', line));
  const std::optional<std::uint32_t> begin = numberIn(takeUpTo(':', line));
  const std::optional<std::uint32_t> count = numberIn(line);
  if (owner.empty() || !begin || !count) return std::nullopt;
  std::optional<uid_t> user = numberIn(owner);
  if (!user) user = userNamed(owner);
  // Of an owner whom nobody knows any more, the range is still one user's.
  return Range{user.value_or(*begin), *begin, std::uint64_t{*begin} + *count};
}

}  // namespace velmora
