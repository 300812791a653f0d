// What the doubles of Apple's services are told and have seen.
#pragma once

#import <Foundation/Foundation.h>

#include <string>

struct Doubles {
  std::string events;         // each call by a word, what it was given in brackets
  std::string log;            // each entry: subsystem, category, type, format, text
  std::string team = "TEAM";  // of this process; none when empty
  int failingSecurityCall = 0;
  int validity = 0;         // what the check of a signature ends with
  int securityObjects = 0;  // handed out and not released
  NSXPCConnection* currentConnection = nil;
  id<NSXPCListenerDelegate> listenerDelegate = nil;
  id exportedObject = nil;  // by the connection that was told last
  int errorCode = NSXPCConnectionInvalid;
  id remoteObject = nil;    // what a client's calls reach; without one its error handler is called
  bool isTimeOver = false;  // what waits for a time happens at once
};

extern Doubles doubles;
