#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

#include "Failure.h"
#include "Help.h"
#include "Session.h"
#include "Subcommands.h"

namespace lumctl {
namespace {

constexpr char kExamples[] =
        "Examples:\n"
        "  lumctl list                              which instances are there\n"
        "  lumctl --root /tmp/root info             facts of the device in that root\n"
        "  lumctl doctor                            what is wrong, and what to do\n"
        "  lumctl mkdir -p /traces/today            a directory in the dropbox\n"
        "  lumctl put trace.bin /traces/today/1     a file in it\n"
        "  tar c logs | lumctl put - /traces/logs   the same from a pipe\n"
        "  lumctl camp start k1 cpu memory          a campaign with two collectors\n"
        "  lumctl --json collectors                 what is active, for programs\n"
        "\n"
        "Exit status: 0 done; 1 the service refused; 2 wrong usage, nothing was sent;\n"
        "3 no service, or the call or its result did not get through.";

void addCommonOptions(CLI::App* app, Session* session) {
    app->name("lumctl");
    app->description("Talks to the vendor service vendor.tav.lumvndhal_aidl.ILumvndhal.");
    app->add_option("--root", session->root, "Call into the device root in DIR")
            ->type_name("DIR")
            ->take_last()
            ->group(kCommonOptions);
    app->add_option("--instance", session->instance, "Instance to call (default: default)")
            ->type_name("NAME")
            ->take_last()
            ->group(kCommonOptions);
    app->add_flag("--json", session->json, "Print the result, or the failure, as a line of JSON")
            ->group(kCommonOptions);
    app->set_version_flag("--version", "");
    app->require_subcommand(1);
    app->fallthrough();  // the common options may also stand behind a subcommand
}

// A command line that cannot be understood is answered as was asked for all the same.
bool asksForJson(int argc, char** argv) {
    char** const end = std::find(argv, argv + argc, std::string_view("--"));
    return std::find(argv, end, std::string_view("--json")) != end;
}

Report parseAndRun(int argc, char** argv, Session* session) {
    CLI::App app;
    Command command;
    shapeHelp(&app);
    addCommonOptions(&app, session);
    addSubcommands(&app, &command);
    app.footer(kExamples);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForVersion&) {
        return versionReport();
    } catch (const CLI::CallForHelp&) {
        return helpOf(app);
    } catch (const CLI::ParseError& error) {
        throw Failure(kUsage, whatIsWrong(app, error));
    }
    return command(*session);
}

int finish(const Session& session, const Report& report) {
    const std::string text = outputOf(session, report);
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    if (written && std::fflush(stdout) == 0) return report.status;
    throw Failure(kNotReached,
                  "the call was made, but its result could not be written: look at "
                  "where standard output goes");
}

int fail(const Session& session, ExitStatus status, const std::string& sentence) {
    std::fputs(errorLine(sentence).c_str(), stderr);
    std::fputs(errorOutput(session, status, sentence).c_str(), stdout);
    return status;
}

}  // namespace

int run(int argc, char** argv) {
    Session session;
    session.json = asksForJson(argc, argv);
    try {
        return finish(session, parseAndRun(argc, argv, &session));
    } catch (const Failure& failure) {
        return fail(session, failure.status(), failure.what());
    } catch (const std::bad_alloc&) {
        return fail(session, kUsage,
                    "there is not enough memory: free some, or use a smaller file");
    } catch (const std::exception& error) {
        return fail(session, kNotReached,
                    std::string(error.what()) + ": this is a fault of lumctl itself");
    }
}

}  // namespace lumctl
