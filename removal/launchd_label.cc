#include "removal/launchd_label.h"

#include <cstddef>
#include <string>

#include "platform/text.h"
#include "protocol/build_constants.h"

namespace velmora {
namespace {

constexpr std::size_t maximumLabelBytes = 255;
constexpr std::string_view appleLabelPrefix = "com.apple.";

}  // namespace

bool isAllowedLabel(std::string_view label) {
  // The length first: what follows takes time for each byte.
  if (label.empty() || label.size() > maximumLabelBytes) return false;
  const std::string lower = lowercased(label);
  if (lower.starts_with(appleLabelPrefix) || lower.starts_with(VendorLabelPrefix)) return false;
  return isAlphanumericExcept(label, "._-");
}

}  // namespace velmora
