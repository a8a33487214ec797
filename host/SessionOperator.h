#pragma once

#include "LumvndhalImpl.h"

// The session operator: the campaign engine that the service forwards campaign commands and
// questions to. This one keeps a list of what runs, in memory, and collects nothing: it is the
// example that a vendor replaces with the real engine. To replace it, implement this header anew in
// another source file and build the host with that: main() takes the four functions from here and
// asks for nothing else. What an engine must keep to:
//
//  - The functions are called on binder threads while the service's mutex is held: one at a time by
//    the service, but from any thread. They should return at once and must not call the service.
//  - Texts that are written for clients must be UTF-8; of a status the first 2047 bytes arrive.
//  - What comes in was sent by a client: it is neither checked nor bounded.
//
// What clients get from this engine:
//
//  - A module's status is "on" or "off".
//  - The collectors' state is one line of JSON:
//    {"campaigns":[{"key":"k1","collectors":["c1","c2"]}],"modules":[{"id":3,"on":true}]}
//    with campaigns sorted by key, collectors by name and modules by number. Modules that are off
//    are left out. It always fits a reply, because the engine refuses, with a line in the log, to
//    hold more than 256 campaigns, 32 KiB of names, or 1024 modules that are on.
//  - Starting a campaign adds the collectors to those that run under its key; stopping takes them
//    away, or all of them when none is named. Empty names are ignored. A campaign without
//    collectors is not running.
namespace session_operator {

using aidl::vendor::tav::lumvndhal_aidl::LumvndhalImpl;

struct Callbacks {
    LumvndhalImpl::SetCampOperation setCampOperation;
    LumvndhalImpl::SetCampModuleOperation setCampModuleOperation;
    LumvndhalImpl::GetCampStatus getCampStatus;
    LumvndhalImpl::GetCollectorsState getCollectorsState;
};

// The engine's functions, valid as long as the process. None may be null.
Callbacks callbacks();

}  // namespace session_operator
