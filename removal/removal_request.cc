#include "removal/removal_request.h"

#include <optional>
#include <unordered_set>
#include <utility>

#include "platform/text.h"
#include "removal/launchd_label.h"
#include "removal/legacy_background_item_removal_error.h"

namespace velmora {
namespace {

struct EntryPieces {
  std::string_view kind;
  std::string_view label;
};

// Splits at the first "|" that is a character of its own: one with a mark on it is another
// character. Separators at the beginning are passed over, later ones belong to the label.
std::optional<EntryPieces> split(std::string_view entry) {
  std::size_t kindBegin = 0;
  for (std::size_t at = 0; at < entry.size();) {
    const std::string_view character = firstUserPerceivedCharacter(entry.substr(at));
    const std::size_t next = at + character.size();
    if (character == "|" && at == kindBegin) {
      kindBegin = next;
    } else if (character == "|") {
      return EntryPieces{entry.substr(kindBegin, at - kindBegin), entry.substr(next)};
    }
    at = next;
  }
  return std::nullopt;
}

}  // namespace

std::vector<RemovalRequest> validateRequest(const std::vector<std::string>& entries) {
  std::unordered_set<std::string> seen;
  std::vector<std::string_view> distinct;
  for (const std::string& entry : entries) {
    if (seen.insert(canonicalForm(entry)).second) distinct.push_back(entry);
    if (distinct.size() > maximumRequestedItems) {
      throw LegacyBackgroundItemRemovalError::invalidRequest();
    }
  }
  if (distinct.empty()) throw LegacyBackgroundItemRemovalError::invalidRequest();

  // Entries that differ in the separators before them name one item; removing it twice would fail
  // the second time, after it is gone.
  seen.clear();
  std::vector<RemovalRequest> requests;
  for (const std::string_view entry : distinct) {
    RemovalRequest request = parseRequestEntry(entry);
    const bool isNew = seen.insert(canonicalForm(itemKey(request.kind, request.label))).second;
    if (isNew) requests.push_back(std::move(request));
  }
  return requests;
}

RemovalRequest parseRequestEntry(std::string_view entry) {
  const std::optional<EntryPieces> pieces = split(entry);
  const std::optional<LocationKind> kind = pieces ? locationKindFrom(pieces->kind) : std::nullopt;
  if (!kind || !isAllowedLabel(pieces->label)) {
    throw LegacyBackgroundItemRemovalError::invalidRequest();
  }
  return {*kind, std::string(pieces->label)};
}

}  // namespace velmora
