#include "Options.h"

#include <getopt.h>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr uint32_t kMaxThreads = 64;

constexpr option kOptions[] = {
        {"version-text", required_argument, nullptr, 'v'},
        {"instance", required_argument, nullptr, 'i'},
        {"threads", required_argument, nullptr, 't'},
        {"trace", no_argument, nullptr, 'c'},
        {"help", no_argument, nullptr, 'h'},
        {},
};

bool parseThreads(const char* text, uint32_t* threads) {
    char* end = nullptr;
    const unsigned long number = std::strtoul(text, &end, 10);
    const bool isNumber = *text >= '0' && *text <= '9' && *end == '\0';
    if (!isNumber || number < 1 || number > kMaxThreads) return false;
    *threads = static_cast<uint32_t>(number);
    return true;
}

Options::Action refuse(const char* program, const char* what) {
    std::fprintf(stderr, "%s: %s; see --help\n", program, what);
    return Options::Action::kRefuse;
}

Options::Action take(int option, const char* program, Options* options) {
    switch (option) {
        case 'v':
            options->version = optarg;
            return Options::Action::kServe;
        case 'i':
            options->instance = optarg;
            return options->instance.empty() ? refuse(program, "the instance name is empty")
                                             : Options::Action::kServe;
        case 't':
            return parseThreads(optarg, &options->threads)
                           ? Options::Action::kServe
                           : refuse(program, "--threads takes a number from 1 to 64");
        case 'c':
            options->trace = true;
            return Options::Action::kServe;
        case 'h':
            return Options::Action::kShowHelp;
        case ':':
            return refuse(program, "an option lacks its value");
        default:
            return refuse(program, "there is no such option");
    }
}

}  // namespace

Options parseOptions(int argc, char** argv) {
    Options options;
    opterr = 0;  // the messages are ours
    while (options.action == Options::Action::kServe) {
        const int option = ::getopt_long(argc, argv, ":v:i:t:h", kOptions, nullptr);
        if (option == -1) break;
        options.action = take(option, argv[0], &options);
    }
    if (options.action == Options::Action::kServe && optind < argc) {
        options.action = refuse(argv[0], "it takes options only");
    }
    return options;
}

void printHelp(const char* program) {
    std::printf(
            "Usage: %s [OPTION]...\n"
            "Hosts the vendor service vendor.tav.lumvndhal_aidl.ILumvndhal until SIGTERM or "
            "SIGINT.\n"
            "\n"
            "  -v, --version-text=TEXT  version that clients are told (default: 1.0)\n"
            "  -i, --instance=NAME      instance to register (default: default)\n"
            "  -t, --threads=N          calls that may be taken at once, 1 to 64 (default: 4)\n"
            "      --trace              write a line to the log for each call\n"
            "  -h, --help               show this text\n"
            "\n"
            "Exit status: 0 after a clean end, 1 when the service cannot be registered or set up,\n"
            "2 for wrong usage.\n",
            program);
}
