#pragma once

#include <string>
#include <vector>

#include "Limits.h"
#include "Session.h"

// What the subcommands do. Each function checks its arguments, makes its calls and returns what is
// to be shown; what goes wrong is a Failure.

namespace lumctl {

// InstanceCommands.cpp
Report list(const Session& session);
Report ping(const Session& session, unsigned count);
Report wait(const Session& session, double seconds);

// DoctorCommand.cpp
Report doctor(const Session& session);

// DropboxCommands.cpp
Report makeDirectory(const Session& session, const std::string& path, bool parents);
Report removeTree(const Session& session, const std::string& path, bool all);
Report put(const Session& session, const std::string& file, const std::string& path,
           Transport wanted);

// TreeCommand.cpp
Report putTree(const Session& session, const std::string& directory, const std::string& path,
               Transport wanted);

// FactCommands.cpp
Report info(const Session& session);
Report buildId(const Session& session);
Report version(const Session& session);
Report chipset(const Session& session);

// CampaignCommands.cpp; `word` is the command word to send.
Report switchCampaign(const Session& session, const std::string& word, const std::string& key,
                      const std::vector<std::string>& collectors);
Report switchModule(const Session& session, const std::string& word, const std::string& module);
Report moduleStatus(const Session& session, const std::string& module);
Report collectors(const Session& session);

// WordCommands.cpp
Report storeStatistics(const Session& session, const std::string& file);
Report getWord(const Session& session, const std::string& word);
Report setWord(const Session& session, const std::string& word, const std::string& parameter);

// CallCommand.cpp
Report callMethod(const Session& session, const std::string& method,
                  const std::vector<std::string>& arguments);

}  // namespace lumctl
