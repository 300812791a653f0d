#include "removal/archive_metadata.h"

#include <chrono>

#include "platform/json.h"

namespace velmora {
namespace {

// 2001-01-01 00:00:00 UTC on the clock that counts from 1970.
constexpr double referenceDateSeconds = 978307200;

template <typename Value>
Value member(const JSONRecord& record, const std::string& name) {
  const auto found = record.find(name);
  if (found == record.end()) throw JSONError("The record has no member \"" + name + "\".");
  const auto* value = std::get_if<Value>(&found->second);
  if (value == nullptr) throw JSONError("The member \"" + name + "\" is of another type.");
  return *value;
}

double numberMember(const JSONRecord& record, const std::string& name) {
  const auto found = record.find(name);
  // A whole number of seconds is written without a fraction, and read as a whole number.
  if (found != record.end() && std::holds_alternative<std::uint32_t>(found->second)) {
    return std::get<std::uint32_t>(found->second);
  }
  return member<double>(record, name);
}

}  // namespace

double secondsSinceReferenceDate() {
  const std::chrono::duration<double> now = std::chrono::system_clock::now().time_since_epoch();
  return now.count() - referenceDateSeconds;
}

std::string encodeArchiveMetadata(const ArchiveMetadata& metadata) {
  return encodeRecord({
      {"label", metadata.label},
      {"token", metadata.token},
      {"originalPath", metadata.originalPath},
      {"clientUserIdentifier", metadata.clientUserIdentifier},
      {"removedAt", metadata.removedAt},
  });
}

ArchiveMetadata decodeArchiveMetadata(std::string_view json) {
  const JSONRecord record = decodeRecord(json);
  return {
      .label = member<std::string>(record, "label"),
      .token = member<std::string>(record, "token"),
      .originalPath = member<std::string>(record, "originalPath"),
      .clientUserIdentifier = member<std::uint32_t>(record, "clientUserIdentifier"),
      .removedAt = numberMember(record, "removedAt"),
  };
}

}  // namespace velmora
