#pragma once

#include <string>
#include <string_view>

#include "Client.h"

// The command words of get_vnd_data and set_vnd_data. The service answers a word that it does not
// know like one whose work is done, so a client has to know the words itself.

namespace lumctl {

// Whether the service is known to answer `command`: by a prefix or a contained word, as it does.
bool isKnownQuery(std::string_view command);
bool isKnownCommand(std::string_view command);

// The text that the service answers; Failure kRefused for an answer that stands for a failure.
std::string ask(Client* client, const std::string& command);
std::string textOf(const std::string& command, const Answer& answer);

}  // namespace lumctl
