#include "removal/legacy_background_item_removal_error.h"

#include <utility>

#include "platform/unreachable.h"

namespace velmora {

using Error = LegacyBackgroundItemRemovalError;

Error::LegacyBackgroundItemRemovalError(Case kind, std::string subject, std::string detail)
    : case_(kind), subject_(std::move(subject)), detail_(std::move(detail)) {}

Error Error::itemNotFound(std::string label) {
  return Error(Case::itemNotFound, std::move(label));
}
Error Error::ambiguousItem(std::string label) {
  return Error(Case::ambiguousItem, std::move(label));
}
Error Error::itemChanged(std::string label) {
  return Error(Case::itemChanged, std::move(label));
}
Error Error::removalFailed(std::string label, std::string detail) {
  return Error(Case::removalFailed, std::move(label), std::move(detail));
}
Error Error::unsafePath(std::string path) {
  return Error(Case::unsafePath, std::move(path));
}
Error Error::invalidRequest() {
  return Error(Case::invalidRequest);
}
Error Error::userUnavailable() {
  return Error(Case::userUnavailable);
}
Error Error::archiveUnavailable() {
  return Error(Case::archiveUnavailable);
}

std::string Error::errorDescription() const {
  switch (case_) {
    case Case::itemNotFound:
      return "The background item " + subject_ +
             " is no longer present in an allowed launchd folder.";
    case Case::ambiguousItem:
      return "More than one background item uses the label " + subject_ +
             " in the same launchd location.";
    case Case::itemChanged:
      return "The background item " + subject_ +
             " changed during removal, so Velmora stopped safely.";
    case Case::removalFailed:
      return "The background item " + subject_ + " could not be removed: " + detail_ + ".";
    case Case::unsafePath:
      return subject_ + " contains a symbolic link or is unavailable, so Velmora stopped safely.";
    case Case::invalidRequest:
      return "The background-item request was invalid.";
    case Case::userUnavailable:
      return "The signed-in user\u2019s home directory could not be resolved safely.";
    case Case::archiveUnavailable:
      return "Velmora could not create its protected background-item archive.";
  }
  unreachable();
}

}  // namespace velmora
