#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "Commands.h"
#include "Dropbox.h"
#include "Packing.h"
#include "Storing.h"
#include "Text.h"

namespace lumctl {
namespace {

namespace fs = std::filesystem;

// What is to be made and stored, as paths relative to the local directory; directories come before
// what is in them.
struct Plan {
    std::vector<std::string> directories;
    std::vector<std::string> files;
    std::vector<std::string> skipped;  // neither file nor directory
};

void add(Plan* plan, const fs::directory_entry& entry, const std::string& name) {
    const fs::file_type type = entry.symlink_status().type();
    if (type == fs::file_type::directory) {
        plan->directories.push_back(name);
    } else if (type == fs::file_type::regular) {
        plan->files.push_back(name);
    } else {
        plan->skipped.push_back(name);
    }
}

Plan planOf(const std::string& directory) {
    Plan plan;
    std::error_code error;
    fs::recursive_directory_iterator at(directory, error);
    for (; !error && at != fs::recursive_directory_iterator(); at.increment(error)) {
        add(&plan, *at, at->path().lexically_relative(directory).string());
    }
    if (error) {
        throw Failure(kUsage, "cannot read the directory " + inQuotes(directory) + " (" +
                                      error.message() + "): name one that can be read");
    }
    for (auto* names : {&plan.directories, &plan.files, &plan.skipped}) {
        std::sort(names->begin(), names->end());
    }
    return plan;
}

// Refuses what cannot be stored before anything is sent.
void check(const Plan& plan, const std::string& path) {
    for (const auto* names : {&plan.directories, &plan.files}) {
        for (const std::string& name : *names) {
            requirePath(path + "/" + name);
            if (name.find("..") == std::string::npos) continue;
            throw Failure(kUsage, "the service refuses every path with '..' in it, and so " +
                                          inQuotes(name) + ": rename it");
        }
    }
}

std::string listOf(const std::vector<std::string>& skipped) {
    std::string text;
    for (const std::string& name : skipped) {
        text += "left out, being neither file nor directory: " + printable(name) + "\n";
    }
    return text;
}

}  // namespace

Report putTree(const Session& session, const std::string& directory, const std::string& path,
               Transport wanted) {
    requirePath(path);
    const Plan plan = planOf(directory);
    check(plan, path);
    Client client = session.connect();
    const auto start = std::chrono::steady_clock::now();
    makeDirectories(&client, path, true);
    for (const std::string& name : plan.directories) {
        makeDirectories(&client, path + "/" + name, false);
    }
    uint64_t bytes = 0;
    for (const std::string& name : plan.files) {
        const Content content(directory + "/" + name, maxFileSize(wanted, path + "/" + name));
        store(session, &client, path + "/" + name, wanted, content);
        bytes += content.size();
    }
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    const double rate = static_cast<double>(bytes) / time.count();
    return {{{"path", path},
             {"directories", plan.directories.size()},
             {"files", plan.files.size()},
             {"bytes", bytes},
             {"skipped", plan.skipped},
             {"seconds", time.count()},
             {"bytes_per_second", rate}},
            listOf(plan.skipped) + printable(path) + ": " + std::to_string(plan.files.size()) +
                    (plan.files.size() == 1 ? " file with " : " files with ") +
                    std::to_string(bytes) + " bytes in " + duration(time.count()) + " (" +
                    byteCount(rate) + "/s)\n"};
}

}  // namespace lumctl
