#include "platform/portable/property_list/decoded_text.h"

#include <cstring>

#include "platform/portable/text/ascii.h"
#include "platform/utf8.h"

namespace velmora {
namespace {

// Characters are converted in pieces of about this many bytes.
constexpr std::size_t atATime = 1024;

constexpr std::string_view byteOrderMark = "\uFEFF";

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
  // In pieces, since the time is looked at between them.
  for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), ReadingProgress::stride))) {
    appendPiece(bytes.substr(0, ReadingProgress::stride));
  }
}

void DecodedText::appendPiece(std::string_view bytes) {
  const bool isLatin1 = encoding_ == StringEncoding::latin1;
  while (!bytes.empty() && isSound_) {
    bytes.remove_prefix(isLatin1 ? appendLatin1(bytes) : appendUTF8(bytes));
  }
}

// This and the next return how many of `bytes` they have taken.
std::size_t DecodedText::appendLatin1(std::string_view bytes) {
  const std::size_t plain = asciiLength(bytes);
  appendWhole(bytes.substr(0, plain));
  std::string utf8;
  const std::string_view others = bytes.substr(plain, atATime);
  for (const char byte : others) appendScalar(utf8, static_cast<unsigned char>(byte));
  appendWhole(utf8);
  return plain + others.size();
}

std::size_t DecodedText::appendUTF8(std::string_view bytes) {
  const std::size_t whole = begun_.empty() ? utf8Length(bytes) : 0;
  if (whole > 0) {
    appendWhole(bytes.substr(0, whole));
    return whole;
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
  if (!isScalar(scalar)) isSound_ = false;
  if (!isSound_) return;
  std::string utf8;
  appendScalar(utf8, scalar);
  appendWhole(utf8);
}

void DecodedText::appendWhole(std::string_view utf8) {
  // What stands behind half a character cannot be the other half.
  if (!utf8.empty() && !begun_.empty()) isSound_ = false;
  if (isMarkDropped_ && size_ == 0 && utf8.starts_with(byteOrderMark)) {
    utf8.remove_prefix(byteOrderMark.size());
    isMarkDropped_ = false;  // only one
  }
  if (kept_ != nullptr) {
    // What is kept may lie behind these very bytes in one buffer, hence a move and not a copy.
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
  std::string utf8;
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
    appendScalar(utf8, isScalar(scalar) ? scalar : replacementCharacter);
    if (utf8.size() >= atATime) {
      text.appendWhole(utf8);
      utf8.clear();
    }
  }
  text.appendWhole(utf8);
  return isWhole;
}

void appendUTF32(std::string_view bytes, bool isBigEndian, DecodedText& text) {
  for (std::size_t at = 0; at + 3 < bytes.size() && text.isSound(); at += 4) {
    text.append(unitAt<4>(bytes, at, isBigEndian));
  }
}

}  // namespace velmora
