// Which launchd labels may be acted on.
#pragma once

#include <string_view>

namespace velmora {

// Whether the job of this label may be touched: 1 to 255 bytes of letters, marks, numbers, ".",
// "_" and "-" of any script, and, in any letter case, neither Apple's nor the vendor's own.
// `label` is UTF-8.
bool isAllowedLabel(std::string_view label);

}  // namespace velmora
