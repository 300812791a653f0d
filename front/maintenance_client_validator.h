// Who may be a client: whoever carries the client's bundle identifier, an Apple-anchored chain
// and the helper's own team. The team is read from the helper's own signature for every question;
// nothing is stored or cached. Any thread may ask.
#pragma once

#include <optional>
#include <string>

namespace velmora {

class MaintenanceClientValidator {
 public:
  // The helper's own team, or nothing when its signature does not verify against its file or
  // names no team.
  std::optional<std::string> currentTeamIdentifier() const;

  // The requirement that a client must satisfy, in Apple's code signing requirement language;
  // nothing when there is no team identifier that could safely be part of it.
  std::optional<std::string> codeSigningRequirement() const;
};

}  // namespace velmora
