// What can go wrong with a removal, in the words that reach the client.
#pragma once

#include <string>

#include "platform/localized_error.h"

namespace velmora {

class LegacyBackgroundItemRemovalError : public LocalizedError {
 public:
  enum class Case {
    itemNotFound,
    ambiguousItem,
    itemChanged,
    removalFailed,
    unsafePath,
    invalidRequest,
    userUnavailable,
    archiveUnavailable,
  };

  static LegacyBackgroundItemRemovalError itemNotFound(std::string label);
  static LegacyBackgroundItemRemovalError ambiguousItem(std::string label);
  static LegacyBackgroundItemRemovalError itemChanged(std::string label);
  static LegacyBackgroundItemRemovalError removalFailed(std::string label, std::string detail);
  static LegacyBackgroundItemRemovalError unsafePath(std::string path);
  static LegacyBackgroundItemRemovalError invalidRequest();
  static LegacyBackgroundItemRemovalError userUnavailable();
  static LegacyBackgroundItemRemovalError archiveUnavailable();

  Case kind() const noexcept { return case_; }
  std::string errorDescription() const override;

 private:
  explicit LegacyBackgroundItemRemovalError(Case kind, std::string subject = {},
                                            std::string detail = {});

  Case case_;
  std::string subject_;  // label or path
  std::string detail_;
};

}  // namespace velmora
