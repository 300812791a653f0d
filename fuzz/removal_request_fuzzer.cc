// Whatever a client sends must become a request that may be acted on, or one of two errors.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <unordered_set>

#include "platform/json.h"
#include "platform/text.h"
#include "removal/launchd_label.h"
#include "removal/legacy_background_item_removal_error.h"
#include "removal/removal_request.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view json(reinterpret_cast<const char*>(data), size);
  try {
    const std::vector<std::string> entries = velmora::decodeStringArray(json);
    if (velmora::decodeStringArray(velmora::encodeStringArray(entries)) != entries) std::abort();

    std::unordered_set<std::string> keys;
    for (const auto& [kind, label] : velmora::validateRequest(entries)) {
      const std::string key = velmora::canonicalForm(velmora::itemKey(kind, label));
      if (!velmora::isAllowedLabel(label) || !keys.insert(key).second) std::abort();
    }
    if (keys.empty() || keys.size() > velmora::maximumRequestedItems) std::abort();
  } catch (const velmora::JSONError&) {
  } catch (const velmora::LegacyBackgroundItemRemovalError& error) {
    if (error.kind() != velmora::LegacyBackgroundItemRemovalError::Case::invalidRequest) throw;
  }
  return 0;
}
