// The object that a connection exports: turns each call into one of the C++ protocol.
#pragma once

#import <Foundation/Foundation.h>

#include <memory>

#import "protocol/objc/VelmoraMaintenanceHelperXPC.h"
#include "protocol/velmora_maintenance_helper_xpc.h"

// Each reply block is called once, where the object answers. A call that ends without an answer
// ends its connection, so that its client is not left waiting.
@interface VelmoraExportedObject : NSObject <VelmoraMaintenanceHelperXPC> {
  std::unique_ptr<velmora::VelmoraMaintenanceHelperXPC> _object;
}

- (instancetype)initWithObject:(std::unique_ptr<velmora::VelmoraMaintenanceHelperXPC>)object;

@end
