#include "removal/candidate_reading.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <new>
#include <optional>
#include <utility>

#include "platform/memory.h"
#include "platform/property_list.h"
#include "platform/utf8.h"
#include "removal/launchd_label.h"

namespace velmora {
namespace {

using Refusal = CandidateRefusal;

CandidateReading refused(Refusal refusal, std::string label = {}) {
  return {refusal, std::move(label)};
}

// The whole of an opened file of `size` bytes; nothing when it has fewer or more by now, or a part
// of it cannot be read.
std::optional<std::string> readWhole(const FileDescriptor& file, std::size_t size) {
  // One byte more, to see that the file ends where it should.
  std::string bytes(size + 1, '\0');
  std::size_t count = 0;
  while (count <= size) {
    const ssize_t piece = ::read(file.get(), bytes.data() + count, bytes.size() - count);
    if (piece < 0 && errno == EINTR) continue;
    if (piece < 0) return std::nullopt;
    if (piece == 0) break;
    count += static_cast<std::size_t>(piece);
  }
  if (count != size) return std::nullopt;
  bytes.resize(size);
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
    case PropertyListString::Outcome::found:
      break;
  }
  return Refusal::notAPropertyList;
}

CandidateReading readOpened(const FileDescriptor& file, std::uint64_t size, const std::string& name,
                            const Location& location) {
  if (size > spareMemoryBytes()) return refused(Refusal::tooLarge);
  std::optional<std::string> data = readWhole(file, static_cast<std::size_t>(size));
  if (!data) return refused(Refusal::notReadWhole);
  PropertyListString label = propertyListString(*data, "Label", nullptr);
  if (label.outcome != PropertyListString::Outcome::found) {
    return refused(refusalFor(label.outcome));
  }
  if (!isAllowedLabel(label.value)) {
    return refused(Refusal::labelNotAllowed, std::move(label.value));
  }
  return {Candidate{.url = location.directory / name,
                    .label = label.value,
                    .kind = location.kind,
                    .launchDomain = location.launchDomain,
                    .expectedOwner = location.expectedOwner,
                    .data = *std::move(data)},
          label.value};
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
      break;
  }
  return "has a label that is protected or not allowed";
}

CandidateReading readCandidate(const FileDescriptor& directory, const std::string& name,
                               const Location& location) {
  if (!decodeUTF8(name)) return refused(Refusal::nameNotText);
  const FileDescriptor file(::openat(directory.get(), name.c_str(),
                                     O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC));
  if (!file.isOpen()) return refused(errno == ELOOP ? Refusal::symbolicLink : Refusal::notOpened);
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return refused(Refusal::notOpened);
  if (!S_ISREG(status.st_mode)) return refused(Refusal::notARegularFile);
  if (status.st_uid != location.expectedOwner) return refused(Refusal::wrongOwner);
  try {
    return readOpened(file, static_cast<std::uint64_t>(status.st_size), name, location);
  } catch (const std::bad_alloc&) {
    return refused(Refusal::tooLarge);
  }
}

}  // namespace velmora
