// A background item as it is named on the command line.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velmora {

// The item key that `argument` means: KIND|LABEL as it is, KIND/LABEL, which a shell takes
// without quotes, with its first slash turned into the separator. Nothing when there is neither,
// or the text is not UTF-8; whether the key is a good one is the helper's to say.
std::optional<std::string> itemKeyFromArgument(std::string_view argument);

}  // namespace velmora
