#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <numeric>
#include <stdexcept>
#include <vector>

#include "platform/portable/text/ascii.h"
#include "platform/text.h"
#include "platform/utf8.h"

namespace velmora {
namespace {

using Scalars = std::vector<utf8proc_int32_t>;

std::size_t combiningClass(utf8proc_int32_t value) {
  return static_cast<std::size_t>(utf8proc_get_property(value)->combining_class);
}

void appendDecomposition(Scalars& scalars, utf8proc_int32_t value) {
  std::array<utf8proc_int32_t, 16> parts{};
  int ignored = UTF8PROC_BOUNDCLASS_START;
  const utf8proc_ssize_t count =
      utf8proc_decompose_char(value, parts.data(), static_cast<utf8proc_ssize_t>(parts.size()),
                              UTF8PROC_DECOMPOSE, &ignored);
  if (count < 1 || count > static_cast<utf8proc_ssize_t>(parts.size())) {
    throw std::invalid_argument("the text is not UTF-8");
  }
  scalars.insert(scalars.end(), parts.begin(), parts.begin() + count);
}

// Puts one run of marks in the order of their classes, by counting: the library's own exchange
// sort takes the square of the run's length, and a run is as long as a client likes.
void orderRun(Scalars& marks) {
  const auto precedes = [](utf8proc_int32_t left, utf8proc_int32_t right) {
    return combiningClass(left) < combiningClass(right);
  };
  if (std::is_sorted(marks.begin(), marks.end(), precedes)) return;
  std::array<std::size_t, 256> next{};
  for (const utf8proc_int32_t mark : marks) ++next.at(combiningClass(mark));
  std::exclusive_scan(next.begin(), next.end(), next.begin(), std::size_t{0});
  Scalars ordered(marks.size());
  for (const utf8proc_int32_t mark : marks) ordered[next.at(combiningClass(mark))++] = mark;
  marks.swap(ordered);
}

void flushRun(Scalars& marks, std::string& text) {
  orderRun(marks);
  for (const utf8proc_int32_t mark : marks) appendScalar(text, static_cast<char32_t>(mark));
  marks.clear();
}

}  // namespace

// Never composed: equality needs no composition, and the library's drops U+11A7 behind a Hangul
// syllable, which would make one of two different texts.
std::string canonicalForm(std::string_view text) {
  if (isASCII(text)) return std::string(text);
  std::string form;
  form.reserve(text.size());
  Scalars marks;
  Scalars parts;
  for (std::size_t at = 0; at < text.size();) {
    const Scalar scalar = firstScalar(text.substr(at));
    parts.clear();
    appendDecomposition(parts, static_cast<utf8proc_int32_t>(scalar.value));
    for (const utf8proc_int32_t part : parts) {
      if (combiningClass(part) != 0) {
        marks.push_back(part);
        continue;
      }
      flushRun(marks, form);
      appendScalar(form, static_cast<char32_t>(part));
    }
    at += scalar.length;
  }
  flushRun(marks, form);
  return form;
}

}  // namespace velmora
