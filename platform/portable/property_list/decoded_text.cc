#include "platform/portable/property_list/decoded_text.h"

#include <cstring>

#include "platform/portable/text/ascii.h"
#include "platform/utf8.h"

namespace velmora {
namespace {

template <std::size_t size>
char32_t unitAt(std::string_view bytes, std::size_t at, bool isBigEndian) {
  char32_t unit = 0;
  for (std::size_t index = 0; index < size; ++index) {
    const std::size_t byte = isBigEndian ? index : size - 1 - index;
    unit = unit << 8 | static_cast<unsigned char>(bytes[at + byte]);
  }
  return unit;
}

}  // namespace

void DecodedText::append(std::string_view bytes) {
  for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), ReadingProgress::stride))) {
    appendPiece(bytes.substr(0, ReadingProgress::stride));
  }
}

void DecodedText::appendPiece(std::string_view bytes) {
  while (!bytes.empty() && isSound_) {
    const std::size_t plain = begun_.empty() ? asciiLength(bytes) : 0;
    keep(bytes.substr(0, plain));
    bytes.remove_prefix(plain);
    if (!bytes.empty()) bytes.remove_prefix(appendCharacter(bytes));
  }
}

// Returns how many of `bytes` have become part of a character.
std::size_t DecodedText::appendCharacter(std::string_view bytes) {
  if (encoding_ == StringEncoding::latin1) {
    append(char32_t{static_cast<unsigned char>(bytes.front())});
    return 1;
  }
  const std::size_t before = begun_.size();
  begun_ += bytes.substr(0, 4 - before);
  const Scalar scalar = firstScalar(begun_);
  const bool isCopyrightSign = begun_.front() == '\xA9';
  if (scalar.value == Scalar::none && !isCopyrightSign) {
    // With fewer than four bytes at hand, the rest of the character may be still to come.
    isSound_ = begun_.size() < 4;
    return begun_.size() - before;
  }
  begun_.clear();
  append(isCopyrightSign ? replacementCharacter : scalar.value);
  return scalar.length - before;
}

void DecodedText::append(char32_t scalar) {
  if (!isScalar(scalar) || !begun_.empty()) isSound_ = false;
  if (!isSound_) return;
  std::string utf8;
  appendScalar(utf8, scalar);
  keep(utf8);
}

void DecodedText::keep(std::string_view utf8) {
  if (kept_ != nullptr) {
    if (kept_->size() < size_ + utf8.size()) kept_->resize(size_ + utf8.size());
    std::memmove(kept_->data() + size_, utf8.data(), utf8.size());
  }
  size_ += utf8.size();
  progress_.count(utf8.size());
}

bool DecodedText::finish() {
  if (kept_ != nullptr) kept_->resize(size_);
  return isSound_ && begun_.empty();
}

bool appendUTF16(std::string_view bytes, bool isBigEndian, DecodedText& text) {
  bool isWhole = true;
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    char32_t scalar = unitAt<2>(bytes, at, isBigEndian);
    if (isHighSurrogate(scalar) && at + 3 < bytes.size()) {
      const char32_t next = unitAt<2>(bytes, at + 2, isBigEndian);
      if (isLowSurrogate(next)) {
        scalar = scalarOfSurrogates(scalar, next);
        at += 2;
      }
    }
    if (!isScalar(scalar)) isWhole = false;
    text.append(isScalar(scalar) ? scalar : replacementCharacter);
  }
  return isWhole;
}

void appendUTF32(std::string_view bytes, bool isBigEndian, DecodedText& text) {
  for (std::size_t at = 0; at + 3 < bytes.size() && text.isSound(); at += 4) {
    text.append(unitAt<4>(bytes, at, isBigEndian));
  }
}

}  // namespace velmora
