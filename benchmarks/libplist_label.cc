#include "benchmarks/libplist_label.h"

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>

namespace velmora::bench {

std::string labelByLibplist(std::string_view bytes) {
  plist_t list = nullptr;
  plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &list);
  char* text = nullptr;
  plist_get_string_val(plist_dict_get_item(list, "Label"), &text);
  std::string label = text == nullptr ? "" : text;
  std::free(text);
  plist_free(list);
  return label;
}

}  // namespace velmora::bench
