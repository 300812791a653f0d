#include "client/item_argument.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "client/printable_text.h"
#include "client/usage_error.h"
#include "platform/utf8.h"
#include "removal/legacy_background_item_removal_error.h"
#include "removal/removal_request.h"

namespace velmora {
namespace {

constexpr std::string_view itemForms =
    "an item is KIND/LABEL, KIND|LABEL or the full path of a file that 'velmoractl list' shows; "
    "the kinds are userAgent, sharedAgent and systemDaemon";

[[noreturn]] void refuse(std::string_view argument, std::string_view reason) {
  throw UsageError("remove", printableText(argument) + std::string(reason));
}

std::string keyOfFile(const ItemListing& listing, const std::filesystem::path& path) {
  for (const ListedFolder& folder : listing) {
    if (path.parent_path() != folder.directory) continue;
    const auto file = std::ranges::find(folder.files, path.filename().native(), &ListedFile::name);
    if (file == folder.files.end()) continue;
    if (file->label.empty()) refuse(path.native(), " is no item: it " + file->reason);
    return itemKey(file->kind, file->label);
  }
  refuse(path.native(), " is no file that 'velmoractl list' shows");
}

std::string keyOf(const std::string& argument, const ItemListing& listing) {
  if (argument.starts_with('/')) return keyOfFile(listing, argument);
  std::string key = argument;
  const std::size_t separator = key.find_first_of("|/");
  if (separator == std::string::npos || !isUTF8(key)) {
    refuse(argument, " is no item; " + std::string(itemForms));
  }
  key[separator] = '|';
  if (!locationKindFrom(std::string_view(key).substr(0, separator)) && separator != 0) {
    refuse(argument, " is of no kind that there is; " + std::string(itemForms));
  }
  return key;
}

}  // namespace

std::vector<std::string> itemKeysOf(const std::vector<std::string>& arguments,
                                    const ItemListing& listing) {
  std::vector<std::string> keys;
  for (const std::string& argument : arguments) {
    const std::string key = keyOf(argument, listing);
    try {
      const RemovalRequest request = parseRequestEntry(key);
      keys.push_back(itemKey(request.kind, request.label));
    } catch (const LegacyBackgroundItemRemovalError&) {
      refuse(argument, " has a label that is protected or not allowed; " + std::string(itemForms));
    }
  }
  try {
    (void)validateRequest(keys);
  } catch (const LegacyBackgroundItemRemovalError&) {
    throw UsageError("remove", "these are more than " + std::to_string(maximumRequestedItems) +
                                   " items, the most that can be asked for at a time");
  }
  return keys;
}

}  // namespace velmora
