#include "removal/removal_request.h"

#include <unordered_set>
#include <utility>

#include "platform/text.h"
#include "removal/launchd_label.h"
#include "removal/legacy_background_item_removal_error.h"

namespace velmora {
namespace {

[[noreturn]] void refuse() {
  throw LegacyBackgroundItemRemovalError::invalidRequest();
}

}  // namespace

std::vector<RemovalRequest> validateRequest(const std::vector<std::string>& entries) {
  std::unordered_set<std::string> distinctEntries;
  std::unordered_set<std::string> distinctItems;
  std::vector<RemovalRequest> requests;
  for (const std::string& entry : entries) {
    // Parsed first, so that only what has a label's length is put into canonical form.
    RemovalRequest request = parseRequestEntry(entry);
    if (!distinctEntries.insert(canonicalForm(entry)).second) continue;
    // Here and not at the end, so that a long request costs no more than one that is allowed.
    if (distinctEntries.size() > maximumRequestedItems) refuse();
    // Entries that differ in the separators before them name one item; removing it twice would
    // fail the second time, after it is gone.
    const std::string key = canonicalForm(itemKey(request.kind, request.label));
    if (distinctItems.insert(key).second) requests.push_back(std::move(request));
  }
  if (requests.empty()) refuse();
  return requests;
}

// Only a separator that is a character of its own counts: one with a mark on it is another
// character, and what begins with its mark is no kind. Those at the beginning are passed over,
// those behind the first belong to the label.
RemovalRequest parseRequestEntry(std::string_view entry) {
  while (entry.starts_with('|')) entry.remove_prefix(1);
  for (const LocationKind kind : allLocationKinds) {
    const std::string_view name = rawValue(kind);
    if (!entry.starts_with(name) || !beginsWithCharacter(entry.substr(name.size()), '|')) continue;
    const std::string_view label = entry.substr(name.size() + 1);
    if (isAllowedLabel(label)) return {kind, std::string(label)};
  }
  refuse();
}

}  // namespace velmora
