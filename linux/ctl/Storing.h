#pragma once

#include <string>

#include "Client.h"
#include "Content.h"
#include "Limits.h"
#include "Session.h"

namespace lumctl {

// Makes a directory, with those above it where `parents` says so; what is there already is left as
// it is. Failure when `path` is no directory afterwards.
void makeDirectories(Client* client, const std::string& path, bool parents);

// "call" or "queue".
std::string nameOf(Transport transport);

// Stores the content as one file, shows the progress, and returns the transport that was taken. A
// failure says why, as far as that can be known.
Transport store(const Session& session, Client* client, const std::string& path, Transport wanted,
                const Content& content);

}  // namespace lumctl
