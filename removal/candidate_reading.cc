#include "removal/candidate_reading.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <new>
#include <optional>
#include <span>
#include <utility>

#include "platform/descriptor_io.h"
#include "platform/memory.h"
#include "platform/unreachable.h"
#include "platform/utf8.h"
#include "removal/launchd_label.h"

namespace velmora {
namespace {

using Refusal = CandidateRefusal;

constexpr std::size_t pieceBytes = std::size_t{1} << 20;

// A job's property list is a few hundred bytes; asking the system for each would take longer than
// reading them.
constexpr std::uint64_t alwaysSparedBytes = std::uint64_t{1} << 16;

bool canBeSpared(std::uint64_t fileBytes) {
  return fileBytes <= alwaysSparedBytes ||
         fileBytes <= spareMemoryBytes() / propertyListMemoryFactor;
}

CandidateReading refused(Refusal reason, std::string label = {}) {
  return RefusedFile{reason, std::move(label)};
}

// The whole of an opened file of `size` bytes; nothing when it has fewer or more by now, or a part
// of it cannot be read. Memory is touched piece by piece, so that the checkpoint is never far.
std::optional<std::string> readWhole(const FileDescriptor& file, std::size_t size,
                                     const ReadingCheckpoint& checkpoint) {
  std::string bytes;
  // At once: growing would hold the old bytes beside the new ones.
  bytes.reserve(size + 1);
  // One byte more, to see that the file ends where it should.
  while (bytes.size() <= size) {
    checkpoint();
    const std::size_t at = bytes.size();
    bytes.resize(std::min(at + pieceBytes, size + 1));
    const std::optional<std::size_t> count = readOnceAt(file, at, std::span(bytes).subspan(at));
    if (!count) return std::nullopt;
    // A read that gets less than it asked for has met the file's end as it is now.
    const bool wasCutShort = *count < bytes.size() - at;
    bytes.resize(at + *count);
    if (*count == 0 || (wasCutShort && bytes.size() == size)) break;
  }
  if (bytes.size() != size) return std::nullopt;
  return bytes;
}

Refusal refusalFor(PropertyListString::Outcome outcome) {
  switch (outcome) {
    case PropertyListString::Outcome::notADictionary:
      return Refusal::notADictionary;
    case PropertyListString::Outcome::missing:
      return Refusal::noLabel;
    case PropertyListString::Outcome::notAString:
      return Refusal::labelNotAString;
    case PropertyListString::Outcome::notAPropertyList:
      return Refusal::notAPropertyList;
    case PropertyListString::Outcome::found:
      break;
  }
  unreachable();
}

CandidateReading readOpened(const FileDescriptor& file, std::uint64_t size, const std::string& name,
                            const Location& location, const ReadingCheckpoint& checkpoint) {
  if (!canBeSpared(size)) return refused(Refusal::tooLarge);
  std::optional<std::string> data = readWhole(file, static_cast<std::size_t>(size), checkpoint);
  if (!data) return refused(Refusal::notReadWhole);
  PropertyListString label = propertyListString(*data, "Label", checkpoint);
  if (label.outcome != PropertyListString::Outcome::found) {
    return refused(refusalFor(label.outcome));
  }
  if (!isAllowedLabel(label.value)) {
    return refused(Refusal::labelNotAllowed, std::move(label.value));
  }
  return Candidate{.url = location.directory.native() + '/' + name,
                   .label = std::move(label.value),
                   .kind = location.kind,
                   .launchDomain = location.launchDomain,
                   .expectedOwner = location.expectedOwner,
                   .data = *std::move(data)};
}

}  // namespace

std::string_view description(CandidateRefusal refusal) {
  switch (refusal) {
    case Refusal::nameNotText:
      return "has a name that is not valid UTF-8";
    case Refusal::symbolicLink:
      return "is a symbolic link";
    case Refusal::notOpened:
      return "cannot be opened";
    case Refusal::notARegularFile:
      return "is not a regular file";
    case Refusal::wrongOwner:
      return "belongs to another user than this folder demands";
    case Refusal::tooLarge:
      return "is larger than the memory that can be spared";
    case Refusal::notReadWhole:
      return "cannot be read, or changed while it was read";
    case Refusal::notAPropertyList:
      return "is not a property list";
    case Refusal::notADictionary:
      return "is a property list, but not a dictionary";
    case Refusal::noLabel:
      return "has no label";
    case Refusal::labelNotAString:
      return "has a label that is not text";
    case Refusal::labelNotAllowed:
      return "has a label that is protected or not allowed";
  }
  unreachable();
}

CandidateReading readCandidate(const FileDescriptor& directory, const std::string& name,
                               const Location& location, const ReadingCheckpoint& checkpoint) {
  // A name that is no text could not be recorded.
  if (!isUTF8(name)) return refused(Refusal::nameNotText);
  const FileDescriptor file(::openat(directory.get(), name.c_str(),
                                     O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC));
  if (!file.isOpen()) return refused(errno == ELOOP ? Refusal::symbolicLink : Refusal::notOpened);
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return refused(Refusal::notOpened);
  if (!S_ISREG(status.st_mode)) return refused(Refusal::notARegularFile);
  // Whose file it is says who may have it removed.
  if (status.st_uid != location.expectedOwner) return refused(Refusal::wrongOwner);
  try {
    return readOpened(file, static_cast<std::uint64_t>(status.st_size), name, location, checkpoint);
  } catch (const std::bad_alloc&) {
    // The memory that could be spared a moment ago may be gone.
    return refused(Refusal::tooLarge);
  }
}

}  // namespace velmora
