#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "Connection.h"

namespace standin {

// What came of an attempt to connect to a service.
enum class Attempt {
    kAdmitted,
    kTurnedAway,  // it has all the connections that it admits, or lacks a thread or a descriptor
    kUnanswered,  // something is there and says nothing: it was stopped, or is overloaded
    kAbsent,      // nothing is there, or what was there has just ended
    kFailed,      // this process could not try; errno says why
};

// Connects to the service at `path` and waits for its greeting, for each of the two no longer than
// `patience`. When admitted, `*connection` is the connection, and `*generation` tells which start
// of the service it leads to.
Attempt connectToService(const std::string& path, std::chrono::seconds patience,
                         std::unique_ptr<Connection>* connection, Generation* generation);

// Connects to the unix socket at `path`, however long the path is, waiting until it takes the
// connection for no longer than `patience`. The socket, or -1 with errno.
int connectToSocket(const std::string& path, std::chrono::seconds patience);

}  // namespace standin
