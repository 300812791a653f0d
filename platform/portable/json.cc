#include "platform/json.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

namespace velmora {
namespace {

using Json = nlohmann::json;

// Walks over a JSON text value by value. Nothing is kept but what a reader keeps, and a reader
// raises JSONError at the first value that its shape has no place for, so a text nested without
// end costs nothing.
class Reader : public nlohmann::json_sax<Json> {
 public:
  void read(std::string_view text) {
    // The parser would take a NUL for the end and the rest for nothing.
    const std::size_t end = text.find('\0');
    if (end != std::string_view::npos) refuseSyntax(end);
    Json::sax_parse(text.begin(), text.end(), static_cast<nlohmann::json_sax<Json>*>(this));
  }

 private:
  virtual bool other() = 0;
  virtual bool number(double value) = 0;

  bool null() final { return other(); }
  bool boolean(bool /*value*/) override { return other(); }
  bool binary(binary_t& /*value*/) final { return other(); }
  bool number_integer(number_integer_t value) final { return number(static_cast<double>(value)); }
  bool number_unsigned(number_unsigned_t value) final { return number(static_cast<double>(value)); }
  bool number_float(number_float_t value, const string_t& /*text*/) final { return number(value); }

  // The parser's own description quotes the text, which has no bound.
  bool parse_error(std::size_t position, const std::string& /*token*/,
                   const Json::exception& /*error*/) final {
    refuseSyntax(position);
  }

  [[noreturn]] static void refuseSyntax(std::size_t position) {
    throw JSONError("The data is not valid JSON (byte " + std::to_string(position) + ").");
  }
};

class StringArrayReader : public Reader {
 public:
  explicit StringArrayReader(std::string_view text) {
    // No more than this many can come, and a vector that grows would hold them twice.
    strings_.reserve(static_cast<std::size_t>(std::ranges::count(text, '"')) / 2);
    read(text);
  }

  std::vector<std::string> takeStrings() { return std::move(strings_); }

 private:
  bool start_array(std::size_t /*elements*/) override {
    if (inside_) refuseShape();
    inside_ = true;
    return true;
  }
  bool end_array() override { return true; }
  bool string(string_t& value) override {
    if (!inside_) refuseShape();
    strings_.push_back(value);
    return true;
  }
  bool other() override { refuseShape(); }
  bool number(double /*value*/) override { refuseShape(); }
  bool start_object(std::size_t /*elements*/) override { refuseShape(); }
  bool key(string_t& /*name*/) override { refuseShape(); }
  bool end_object() override { refuseShape(); }

  [[noreturn]] static void refuseShape() {
    throw JSONError("The data is not a JSON array of strings.");
  }

  bool inside_ = false;
  std::vector<std::string> strings_;
};

class RecordReader : public Reader {
 public:
  explicit RecordReader(std::string_view text) { read(text); }

  JSONRecord takeRecord() { return std::move(record_); }

 private:
  bool start_object(std::size_t /*elements*/) override { return enter(); }
  bool end_object() override { return leave(); }
  bool end_array() override { return leave(); }
  bool start_array(std::size_t /*elements*/) override { return other() && enter(); }
  // The last of several members of one name is the one that counts, even where it is skipped.
  bool key(string_t& name) override {
    if (depth_ != 1) return true;
    record_.erase(name);
    name_ = name;
    return true;
  }
  bool string(string_t& value) override { return member(value); }
  bool boolean(bool value) override { return member(value); }
  bool number(double value) override {
    const bool whole = value >= 0 && value <= std::numeric_limits<std::uint32_t>::max() &&
                       value == std::trunc(value);
    return whole ? member(static_cast<std::uint32_t>(value)) : member(value);
  }
  bool other() override {
    if (depth_ == 0) throw JSONError("The data is not a JSON object.");
    return true;
  }

  bool enter() {
    ++depth_;
    return true;
  }
  bool leave() {
    --depth_;
    return true;
  }
  template <typename Value>
  bool member(const Value& value) {
    if (depth_ == 1) record_[name_] = value;
    return other();
  }

  std::size_t depth_ = 0;
  std::string name_;
  JSONRecord record_;
};

// Only a text or a number is ever made a value of the library's: the destructor of an array or an
// object allocates, and where there is no memory that ends the process.
Json encoded(const std::string& text) {
  return text;
}

Json encoded(std::uint32_t number) {
  return number;
}

Json encoded(bool value) {
  return value;
}

// Without ".0" behind a whole number, up to where an integer holds them all.
Json encoded(double number) {
  constexpr double largestExact = 9007199254740992;
  if (!std::isfinite(number)) throw JSONError("JSON has no number that is not finite.");
  if (number != std::trunc(number) || std::abs(number) > largestExact) return number;
  return static_cast<std::int64_t>(number);
}

std::string dump(const Json& value) {
  try {
    return value.dump();
  } catch (const Json::type_error&) {
    throw JSONError("A text for JSON is not valid UTF-8.");
  }
}

// Outside of a text there is no slash.
std::string escapingSlashes(std::string_view json) {
  std::string result;
  for (const char character : json) {
    if (character == '/') result += '\\';
    result += character;
  }
  return result;
}

}  // namespace

std::vector<std::string> decodeStringArray(std::string_view json) {
  return StringArrayReader(json).takeStrings();
}

std::string encodeStringArray(const std::vector<std::string>& strings) {
  std::string json = "[";
  for (const std::string& text : strings) {
    if (json.size() > 1) json += ',';
    json += dump(encoded(text));
  }
  return json + "]";
}

JSONRecord decodeRecord(std::string_view json) {
  return RecordReader(json).takeRecord();
}

std::string encodeRecord(const JSONRecord& record) {
  std::string json = "{";
  for (const auto& [name, value] : record) {
    if (json.size() > 1) json += ',';
    json += escapingSlashes(dump(encoded(name))) + ":";
    json += escapingSlashes(
        dump(std::visit([](const auto& content) { return encoded(content); }, value)));
  }
  return json + "}";
}

}  // namespace velmora
