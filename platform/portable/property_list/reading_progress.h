// The reading of a property list can be stopped anywhere: whatever looks at its bytes does so
// piece by piece and counts them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "platform/portable/text/cursor.h"
#include "platform/property_list.h"

namespace velmora {

class ReadingProgress {
 public:
  // As much as is looked at in one go.
  static constexpr std::size_t stride = 1 << 18;

  explicit ReadingProgress(const ReadingCheckpoint& checkpoint) : checkpoint_(checkpoint) {}

  // Notes that `bytes` have been looked at. Raises what the checkpoint raises.
  void count(std::size_t bytes) {
    counted_ += bytes;
    if (counted_ < stride) return;
    counted_ = 0;
    if (checkpoint_) checkpoint_();
  }

 private:
  const ReadingCheckpoint& checkpoint_;
  std::size_t counted_ = 0;
};

// A cursor that counts what it passes over in search of something.
class CountingCursor : public Cursor {
 public:
  CountingCursor(std::string_view bytes, ReadingProgress& progress)
      : Cursor(bytes), progress_(&progress) {}

  ReadingProgress& progress() const { return *progress_; }

  // Takes `count` bytes, one step of a longer way.
  std::string_view pass(std::size_t count) {
    progress_->count(count);
    return take(count);
  }

  // Takes as much as `lengthOf` finds at the front. It is asked for a piece at a time, and asked
  // again where all of one belongs to it.
  template <typename LengthOf>
  std::string_view takeLength(LengthOf lengthOf) {
    std::size_t total = 0;
    std::size_t length = 0;
    do {
      length = lengthOf(rest().substr(total, ReadingProgress::stride));
      progress_->count(length);
      total += length;
    } while (length == ReadingProgress::stride);
    return take(total);
  }

  template <typename Predicate>
  std::string_view takeWhile(Predicate wanted) {
    return takeLength(
        [&](std::string_view piece) { return Cursor(piece).takeWhile(wanted).size(); });
  }

  std::string_view takeUntil(char end) {
    return takeLength(
        [end](std::string_view piece) { return std::min(piece.find(end), piece.size()); });
  }

  bool skipPast(std::string_view end, std::size_t from = 0) {
    for (std::size_t at = from; at < rest().size(); at += ReadingProgress::stride) {
      const std::string_view piece = rest().substr(at, ReadingProgress::stride + end.size() - 1);
      const std::size_t found = piece.find(end);
      progress_->count(std::min(found, piece.size()) + end.size());
      if (found == std::string_view::npos) continue;
      take(at + found + end.size());
      return true;
    }
    return false;
  }

 private:
  ReadingProgress* progress_;
};

}  // namespace velmora
