// The header that GNUstep's own expect of a runtime with blocks.
#pragma once

#include <Block.h>
