#include "Options.h"

#include <getopt.h>

#include <cstdlib>
#include <regex>
#include <stdexcept>

namespace launcher {

const char kUsage[] = R"(Usage: lumvndhal-root [OPTIONS] [--] COMMAND [ARG...]
       lumvndhal-root --new DIR [--sample]

Runs COMMAND with the data, vendor, mnt, sys, dev/socket and dev/__properties__
of a device root at /data, /vendor, /mnt, /sys, /dev/socket and
/dev/__properties__. All else stays the machine's, and of that nothing can be
written but $TMPDIR (or /tmp), /dev/shm and what --writable names.

  --root DIR           an existing root (--new makes one)
  --sample             a fresh copy of the sample root, removed afterwards
  --empty              a fresh root of directories alone, removed afterwards;
                       this is the default
  --new DIR            make a root that stays, in DIR, which must not exist or
                       be empty; no command is run
  --writable DIR       let COMMAND write below DIR of the machine as well (may
                       be given more than once)
  --tmpfs PATH:BYTES   mount an empty file system of BYTES at PATH of the root
                       (bubblewrap only; may be given more than once)
  --with MEANS         bubblewrap, fakechroot or auto: bubblewrap where it works,
                       otherwise fakechroot. The default is $DEVICE_WITH, or auto
  --protect NET        what keeps COMMAND from writing to the machine: mounts
                       (bubblewrap only), landlock or both. The default is both;
                       one alone is for trying it
  --quiet              say nothing but errors
  --help               show this text

The command finds the means in DEVICE_WITH and the root, as seen from outside,
in DEVICE_ROOT_DIR. The exit status is the command's; 128+N when signal N ended
it; 125 when the launcher itself failed.
)";

namespace {

constexpr option kOptions[] = {
        {"root", required_argument, nullptr, 'r'},
        {"sample", no_argument, nullptr, 's'},
        {"empty", no_argument, nullptr, 'e'},
        {"new", required_argument, nullptr, 'n'},
        {"writable", required_argument, nullptr, 'w'},
        {"tmpfs", required_argument, nullptr, 't'},
        {"with", required_argument, nullptr, 'm'},
        {"protect", required_argument, nullptr, 'p'},
        {"quiet", no_argument, nullptr, 'q'},
        {"help", no_argument, nullptr, 'h'},
        {},
};

[[noreturn]] void refuse(const std::string& what) {
    throw std::runtime_error(what + " (see --help)");
}

SmallFileSystem parseTmpfs(const std::string& text) {
    static const std::regex form("(.*):([1-9][0-9]*)");
    static const std::regex within("/(data|vendor|mnt|sys|dev/socket|dev/__properties__)(/.*)?");
    static const std::regex climbing("(.*/)?\\.\\.(/.*)?");
    std::smatch parts;
    if (!std::regex_match(text, parts, form)) refuse("--tmpfs takes PATH:BYTES, not " + text);
    const std::string path = parts[1];
    if (!std::regex_match(path, within) || std::regex_match(path, climbing)) {
        refuse(path + " is no path of a device root");
    }
    return {path, parts[2]};
}

void useFreshRoot(bool sample, Options* options) {
    options->root.clear();
    options->sample = sample;
}

void setProtection(const std::string& net, Options* options) {
    options->readOnlyMounts = net != "landlock";
    options->landlock = net != "mounts";
    if (options->readOnlyMounts && options->landlock && net != "both") {
        refuse(net + " is none of mounts, landlock, both");
    }
}

void take(int letter, const std::string& value, Options* options) {
    switch (letter) {
        case 'r':
            options->root = value;
            break;
        case 's':
            useFreshRoot(true, options);
            break;
        case 'e':
            useFreshRoot(false, options);
            break;
        case 'n':
            options->newRoot = value;
            break;
        case 'w':
            options->writable.push_back(value);
            break;
        case 't':
            options->tmpfs.push_back(parseTmpfs(value));
            break;
        case 'm':
            options->with = value;
            break;
        case 'p':
            setProtection(value, options);
            break;
        case 'q':
            options->quiet = true;
            break;
        default:
            options->help = true;
    }
}

void check(const Options& options) {
    if (options.help) return;
    if (options.command.empty() && options.newRoot.empty()) refuse("no command is named");
    if (options.with != "bubblewrap" && options.with != "fakechroot" && options.with != "auto") {
        refuse(options.with + " is none of bubblewrap, fakechroot, auto");
    }
}

}  // namespace

Options parseOptions(int argc, char** argv) {
    Options options;
    if (const char* with = std::getenv("DEVICE_WITH")) options.with = with;
    opterr = 0;  // the messages are ours
    for (int letter; (letter = ::getopt_long(argc, argv, "+:", kOptions, nullptr)) != -1;) {
        const std::string word = argv[optind - 1];
        if (letter == ':') refuse(word + " takes an argument");
        if (letter == '?') refuse("unknown option " + word);
        take(letter, optarg == nullptr ? "" : optarg, &options);
    }
    options.command.assign(argv + optind, argv + argc);
    check(options);
    return options;
}

}  // namespace launcher
