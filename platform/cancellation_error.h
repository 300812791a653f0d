// The error of a call that was told to stop.
#pragma once

#include <string>

#include "platform/localized_error.h"

namespace velmora {

class CancellationError : public LocalizedError {
 public:
  std::string errorDescription() const override { return "The operation was cancelled."; }
};

}  // namespace velmora
