// Who the helper has to be for a client to believe it.
#pragma once

#include <string>

namespace velmora {

// The requirement that the helper behind `machServiceName` is of this client's own team. Raises
// XPCConnectionError when this program has no team: then no helper lets it in, either.
std::string requirementOnHelper(const std::string& machServiceName);

}  // namespace velmora
