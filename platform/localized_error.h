// Errors that carry a description fit to be shown to a person.
#pragma once

#include <exception>
#include <string>

namespace velmora {

// `errorDescription` is the whole text; `what` cannot carry it, since it ends at the first NUL
// and a tool's own words may hold one.
class LocalizedError : public std::exception {
 public:
  virtual std::string errorDescription() const = 0;
  const char* what() const noexcept override { return "localized error"; }
};

// The text that describes `error` to a person: its own description where it has one.
inline std::string localizedDescription(const std::exception& error) {
  const auto* localized = dynamic_cast<const LocalizedError*>(&error);
  return localized != nullptr ? localized->errorDescription() : error.what();
}

}  // namespace velmora
