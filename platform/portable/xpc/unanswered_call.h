// A client's call that gets no answer: how long it waits for one, and what its end means.
#pragma once

#include "platform/xpc.h"

namespace velmora {

// What the helper may take beyond a budget to stop a tool, and to get round to answering.
constexpr double answerSlackSeconds = 30;

// How the connection of a call ended that has got no answer.
struct EndOfCall {
  bool isInterrupted = false;  // what was at the other end has gone
  bool isInvalid = false;      // there is no connection, or none any more
  bool isOverTime = false;     // this client ended it, having waited long enough
};

// A service that the system does not know makes a connection invalid before anything has been
// answered on it; a helper that lets nobody in, or that ends, interrupts it.
constexpr XPCConnectionError::Cause causeOf(const EndOfCall& end, bool hasAnsweredBefore) {
  using Cause = XPCConnectionError::Cause;
  if (end.isOverTime) return Cause::other;
  if (end.isInterrupted) return Cause::endOfConnection;
  if (!end.isInvalid) return Cause::other;
  return hasAnsweredBefore ? Cause::endOfConnection : Cause::notReached;
}

}  // namespace velmora
