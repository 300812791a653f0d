// JSON as the helper reads and writes it (RFC 8259): an array of strings on the wire, and one flat
// record on disk. Reading is strict and takes hostile bytes: linear time, memory bounded by a small
// multiple of the input, no recursion over it. Any thread may call.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/localized_error.h"

namespace velmora {

// Bytes that are no JSON, or of another shape than asked for.
class JSONError : public LocalizedError {
 public:
  explicit JSONError(std::string description) : description_(std::move(description)) {}
  std::string errorDescription() const override { return description_; }

 private:
  std::string description_;
};

// The members of one flat object: texts, numbers and truth values.
using JSONRecord = std::map<std::string, std::variant<std::string, std::uint32_t, double, bool>>;

// The strings of a UTF-8 JSON text whose top level is an array of nothing but strings; they are
// valid UTF-8 and may hold NUL. Raises JSONError.
std::vector<std::string> decodeStringArray(std::string_view json);

// A JSON array on one line, without spaces. Raises JSONError when a string is not UTF-8.
std::string encodeStringArray(const std::vector<std::string>& strings);

// The members of a JSON text whose top level is an object. Members that are an
// object, an array or null are skipped whole, however deep. A whole number within its range is a
// std::uint32_t, any other number a double. Raises JSONError.
JSONRecord decodeRecord(std::string_view json);

// A JSON object on one line, without spaces, the slash escaped as "\/". Raises JSONError when a
// text is not UTF-8 or a number not finite.
std::string encodeRecord(const JSONRecord& record);

}  // namespace velmora
