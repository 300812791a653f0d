#include "client/listing_text.h"

#include <algorithm>
#include <string_view>

#include "client/printable_text.h"
#include "platform/json.h"
#include "platform/text.h"
#include "platform/utf8.h"

namespace velmora {
namespace {

std::string keyColumn(const ListedFile& file) {
  return file.isRemovable() ? printableText(itemKey(file.kind, file.label)) : "-";
}

std::size_t widestKey(const ItemListing& listing) {
  std::size_t widest = 0;
  for (const ListedFolder& folder : listing) {
    for (const ListedFile& file : folder.files) {
      widest = std::max(widest, userPerceivedCharacterCount(keyColumn(file)));
    }
  }
  return widest;
}

// A file may have a label of megabytes.
std::string shownLabel(const std::string& label) {
  constexpr std::size_t longestShown = 255;
  return label.size() > longestShown ? std::to_string(label.size()) + " bytes"
                                     : printableText(label);
}

std::string fileLine(const ListedFile& file, std::size_t keyWidth) {
  const std::string key = keyColumn(file);
  std::string line = "  " + key +
                     std::string(keyWidth - userPerceivedCharacterCount(key) + 2, ' ') +
                     printableText(file.name);
  if (!file.isRemovable()) {
    line += ": " + file.reason;
    if (!file.label.empty()) line += " (" + shownLabel(file.label) + ")";
  }
  return line + "\n";
}

JSONRecord record(const ListedFolder& folder, const ListedFile& file) {
  JSONRecord members{
      {"file", replacingUncarriable((folder.directory / file.name).native())},
      {"kind", std::string(rawValue(file.kind))},
      {"removable", file.isRemovable()},
  };
  if (!file.label.empty()) members["label"] = replacingUncarriable(file.label);
  if (file.isRemovable()) {
    members["key"] = itemKey(file.kind, file.label);
  } else {
    members["reason"] = file.reason;
  }
  return members;
}

}  // namespace

std::string readableText(const ItemListing& listing) {
  const std::size_t keyWidth = widestKey(listing);
  std::string text;
  for (const ListedFolder& folder : listing) {
    if (!text.empty()) text += "\n";
    text += printableText(folder.directory.native()) + "\n";
    if (!folder.failure.empty()) {
      text += "  cannot be listed: " + folder.failure + "\n";
    } else if (folder.files.empty()) {
      text += "  no property lists\n";
    }
    for (const ListedFile& file : folder.files) text += fileLine(file, keyWidth);
  }
  return text;
}

std::string jsonText(const ItemListing& listing) {
  std::string text;
  for (const ListedFolder& folder : listing) {
    for (const ListedFile& file : folder.files) {
      text += (text.empty() ? "\n" : ",\n") + encodeRecord(record(folder, file));
    }
  }
  return "[" + text + (text.empty() ? "]\n" : "\n]\n");
}

}  // namespace velmora
