// GNUstep's Foundation, with doubles of what does nothing there.
#pragma once

#include_next <Foundation/Foundation.h>
#include <sys/types.h>

#define NSXPCConnection DoubleConnection
#define NSXPCConnectionOptions DoubleConnectionOptions
#define NSXPCConnectionPrivileged DoubleConnectionPrivileged
#define NSXPCInterface DoubleInterface
#define NSXPCListener DoubleListener
#define NSXPCListenerDelegate DoubleListenerDelegate

#include "cmake/darwin/stub/Foundation/NSXPCConnection.h"
