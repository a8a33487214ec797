#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <string>

#include "Failure.h"
#include "Session.h"
#include "Subcommands.h"
#include "Text.h"

namespace lumctl {
namespace {

constexpr char kExamples[] =
        "Examples:\n"
        "  lumctl list                              which instances are there\n"
        "  lumctl --root /tmp/root info             facts of the device in that root\n"
        "  lumctl mkdir -p /traces/today            a directory in the dropbox\n"
        "  lumctl put trace.bin /traces/today/1     a file in it\n"
        "  tar c logs | lumctl put - /traces/logs   the same from a pipe\n"
        "  lumctl camp start k1 cpu memory          a campaign with two collectors\n"
        "  lumctl --json collectors                 what is active, for programs\n"
        "\n"
        "Exit status: 0 done; 1 the service refused; 2 wrong usage, nothing was sent;\n"
        "3 no service, or the call or its result did not get through.";

std::string versionText() {
    return "lumctl " LUMCTL_VERSION " (interface version " + std::to_string(ILumvndhal::version) +
           ", hash " + ILumvndhal::hash + ")";
}

void addCommonOptions(CLI::App& app, Session& session) {
    app.name("lumctl");
    app.description("Talks to the vendor service vendor.tav.lumvndhal_aidl.ILumvndhal.");
    app.footer("The options of lumctl itself work here too: see lumctl --help.");
    app.add_option("--root", session.root, "Call into the device root in DIR")
            ->type_name("DIR")
            ->take_last();
    app.add_option("--instance", session.instance, "Instance to call (default: default)")
            ->type_name("NAME")
            ->take_last();
    app.add_flag("--json", session.json, "Print the result as JSON");
    app.set_version_flag("--version", versionText());
    app.require_subcommand(1);
    app.fallthrough();  // the common options may also stand behind a subcommand
}

// The subcommand that the command line got to, as a person types it.
std::string reachedCommand(const CLI::App& app) {
    std::string name = app.get_name();
    for (const CLI::App* at = &app; !at->get_subcommands().empty();) {
        at = at->get_subcommands().front();
        name += " " + at->get_name();
    }
    return name;
}

int fail(ExitStatus status, const std::string& sentence) {
    std::cerr << "lumctl: " + printable(sentence) + "\n";
    return status;
}

int wrongUsage(const CLI::App& app, const CLI::ParseError& error) {
    const std::string command = reachedCommand(app);
    // Without a subcommand, what is left over is the word that was meant to be one.
    const std::vector<std::string> rest = app.remaining(true);
    const bool unknown = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr &&
                         !rest.empty() && rest.front() != "--";
    return fail(kUsage, (unknown ? "there is no " + inQuotes(rest.front()) : error.what()) +
                                "; see " + command + " --help");
}

int parseAndRun(CLI::App& app, int argc, char** argv) {
    try {
        app.parse(argc, argv);
        return kDone;
    } catch (const CLI::ParseError& error) {
        // Asked-for help and version arrive here as well.
        return error.get_exit_code() == 0 ? app.exit(error) : wrongUsage(app, error);
    }
}

}  // namespace

int run(int argc, char** argv) {
    try {
        Session session;
        CLI::App app;
        addCommonOptions(app, session);
        addSubcommands(app, session);
        app.footer(kExamples);
        return parseAndRun(app, argc, argv);
    } catch (const Failure& failure) {
        return fail(failure.status(), failure.what());
    } catch (const std::bad_alloc&) {
        return fail(kUsage, "there is not enough memory: free some, or use a smaller file");
    } catch (const std::exception& error) {
        return fail(kNotReached, std::string(error.what()) + ": this is a fault of lumctl itself");
    }
}

}  // namespace lumctl
