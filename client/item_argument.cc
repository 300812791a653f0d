#include "client/item_argument.h"

#include "platform/utf8.h"

namespace velmora {

std::optional<std::string> itemKeyFromArgument(std::string_view argument) {
  std::optional<std::string> key = decodeUTF8(argument);
  const std::size_t separator = argument.find_first_of("|/");
  if (!key || separator == std::string_view::npos) return std::nullopt;
  (*key)[separator] = '|';
  return key;
}

}  // namespace velmora
