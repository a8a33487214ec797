// Names and paths that stand in more than one file: the code, Android.bp, the .rc, the VINTF files
// and the policy agree. The code's own are the reference.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>

#include "SourceTree.h"

namespace {

using Texts = std::vector<std::string>;
using sources::find;
using sources::findAll;

const std::string kRc = "host/vendor.tav.lumvndhal_aidl-service.rc";
const std::string kManifest = "host/vendor.tav.lumvndhal_aidl-service.xml";
const std::string kMatrix = "host/framework_compatibility_matrix.xml";

std::string descriptor() {
    return find("interface/ndk/BnLumvndhal.cpp", R"re(ILumvndhal::descriptor = "([^"]+)")re");
}
std::string package() {
    return descriptor().substr(0, descriptor().rfind('.'));
}
std::string interface() {
    return descriptor().substr(descriptor().rfind('.') + 1);
}
std::string instance() {
    return find("host/Options.h", R"re(std::string instance = "([^"]+)")re");
}
std::string registeredName() {
    return descriptor() + "/" + instance();
}
std::string serviceProgram() {
    return "/vendor/bin/hw/" + find("host/CMakeLists.txt", R"(OUTPUT_NAME (\S+)\))");
}

// The paths that the code uses.
std::string dropbox() {
    return find("dropbox/Directories.cpp", R"re(kRoot\[\] = "([^"]+)")re");
}
std::string statisticsFile() {
    return find("service/VendorDataCommands.cpp", R"re(kStatisticsFile\[\] = "([^"]+)")re");
}
std::string versionFile() {
    return find("deviceinfo/BuildId.cpp", R"re(kVersionFile\[\] = "([^"]+)")re");
}
std::string countFile() {
    const std::string source = "deviceinfo/FactoryReset.cpp";
    return find(source, R"re(define \w+_DIR "([^"]+)")re") +
           find(source, R"re(define \w+_FILE \w+_DIR "([^"]+)")re");
}
Texts socNodes() {
    return {find("deviceinfo/ChipsetSerial.cpp", R"re(kSocId\[\] = "([^"]+)")re"),
            find("deviceinfo/ChipsetSerial.cpp", R"re(kSerialNumber\[\] = "([^"]+)")re")};
}
std::string property() {
    return find("service/VendorDataQueries.cpp", R"re(kFrcDisable\[\] = "([^"]+)")re");
}
std::string folderOf(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

// As the compiler writes the name of a class in a package of the NDK.
std::string mangled(const std::string& package, const std::string& name) {
    std::istringstream words(std::regex_replace(package, std::regex("\\."), " ") + " " + name);
    std::string text = "4aidl";
    for (std::string word; words >> word;) text += std::to_string(word.size()) + word;
    return text;
}

struct Label {
    std::string what, type;
};

// The lines of one of the policy's files of labels.
std::vector<Label> labels(const std::string& file) {
    std::vector<Label> labels;
    std::istringstream lines(sources::read("sepolicy/" + file));
    static const std::regex kLine(
            R"((?:genfscon sysfs )?(\S+)\s+u:object_r:(\w+):s0( exact string)?)");
    for (std::string line; std::getline(lines, line);) {
        std::smatch match;
        const bool isLabel = std::regex_match(line, match, kLine);
        EXPECT_TRUE(isLabel) << file << ": " << line;
        if (isLabel) labels.push_back({match[1], match[2]});
    }
    return labels;
}

// The type that a path gets; one line alone may speak of it.
std::string labelOf(const std::string& path) {
    Texts types;
    for (const Label& label : labels("file_contexts")) {
        if (std::regex_match(path, std::regex(label.what))) types.push_back(label.type);
    }
    EXPECT_EQ(types.size(), 1U) << path;
    return types.empty() ? "" : types.front();
}

Texts typesFor(const std::string& file, const std::string& what) {
    Texts types;
    for (const Label& label : labels(file)) {
        if (label.what == what) types.push_back(label.type);
    }
    return types;
}

struct Made {
    std::string mode, user, group;
};

Made madeByInit(const std::string& directory) {
    const std::string begin = "\n    mkdir " + directory + " ";
    return {find(kRc, begin + R"((\d+) )"), find(kRc, begin + R"(\d+ (\w+) )"),
            find(kRc, begin + R"(\d+ \w+ (\w+)\n)")};
}

}  // namespace

TEST(Names, PackageIsTheSameEverywhere) {
    const std::string folder = std::regex_replace(package(), std::regex("\\."), "/");
    EXPECT_EQ(find("interface/" + folder + "/" + interface() + ".aidl", "package ([^;]+);"),
              package());
    EXPECT_TRUE(sources::exists("interface/aidl_api/" + package() + "/1/.hash"));
    const auto module = sources::module(package());
    EXPECT_EQ(module.type, "aidl_interface");
    EXPECT_EQ(module["srcs"].texts(), Texts{folder + "/*.aidl"});
    EXPECT_EQ(module["owner"].text(), find(kRc, R"(interface aidl vendor\.([^.]+)\.)"));
    EXPECT_EQ(find("service/LumvndhalImpl.h", R"(namespace aidl::([\w:]+) \{)"),
              std::regex_replace(package(), std::regex("\\."), "::"));
    EXPECT_EQ(find("interface/CMakeLists.txt", R"(OUTPUT_NAME (\S+)\))"), package() + "-V1-ndk");
    EXPECT_EQ(find("service/exports.map", R"(_Z(?:N|TVN)(4aidl\w+Impl))"),
              mangled(package(), "LumvndhalImpl"));
}

TEST(Names, InstanceIsTheOneThatTheHostRegisters) {
    for (const std::string& file : {kManifest, kMatrix}) {
        EXPECT_EQ(find(file, "<hal[^>]*>\\s*<name>([^<]+)</name>"), package());
        EXPECT_EQ(find(file, R"re(format="(\w+)")re"), "aidl");
    }
    EXPECT_EQ(find(kManifest, "<fqname>([^<]+)</fqname>"), interface() + "/" + instance());
    EXPECT_EQ(find(kManifest, R"re(<manifest version="1.0" type="(\w+)")re"), "device");
    EXPECT_EQ(find(kMatrix, "<interface>\\s*<name>([^<]+)</name>"), interface());
    EXPECT_EQ(find(kMatrix, "<instance>([^<]+)</instance>"), instance());
    EXPECT_EQ(find(kRc, R"(\n    interface aidl (\S+)\n)"), registeredName());
    EXPECT_EQ(typesFor("service_contexts", registeredName()), Texts{"hal_lumvndhal_service"});
    EXPECT_EQ(labels("service_contexts").size(), 1U);
    EXPECT_TRUE(sources::holds("host/main.cpp", "makeServiceName(options.instance)"));
}

TEST(Names, LibraryAndProgramAreCalledTheSameInBothBuilds) {
    const auto library = sources::module(package() + "-halimpl");
    EXPECT_EQ(library.type, "cc_library_shared");
    EXPECT_EQ(find("service/CMakeLists.txt", R"(OUTPUT_NAME (\S+))"), library.name());
    const auto program = sources::module(package() + "-service");
    EXPECT_EQ(program.type, "cc_binary");
    EXPECT_EQ(serviceProgram(),
              "/vendor/bin/" + program["relative_install_path"].text() + "/" + program.name());
    const Texts libraries = program["shared_libs"].texts();
    EXPECT_NE(std::find(libraries.begin(), libraries.end(), library.name()), libraries.end());
    EXPECT_EQ(program["init_rc"].texts(), Texts{program.name() + ".rc"});
    EXPECT_EQ(program["vintf_fragments"].texts(), Texts{program.name() + ".xml"});
}

TEST(Names, InitStartsTheProgramThatIsInstalled) {
    EXPECT_EQ(find(kRc, R"(\nservice \S+ (\S+)\n)"), serviceProgram());
    EXPECT_EQ(labelOf(serviceProgram()), "hal_lumvndhal_default_exec");
    EXPECT_EQ(labelOf("/system" + serviceProgram()), "hal_lumvndhal_default_exec");
    EXPECT_EQ(find(kRc, R"(\n    class (\w+)\n)"), "hal");
    for (const char* option : {"oneshot", "disabled", "critical"}) {
        EXPECT_TRUE(findAll(kRc, std::string("\n    (") + option + ")").empty()) << option;
    }
}

TEST(Names, InitMakesTheDirectoriesThatTheCodeExpects) {
    const std::string statistics = folderOf(statisticsFile());
    ASSERT_EQ(statistics.rfind(dropbox() + "/", 0), 0U);
    Texts directories;
    for (std::string path = statistics; path.size() >= dropbox().size(); path = folderOf(path)) {
        directories.insert(directories.begin(), path);
    }
    EXPECT_EQ(findAll(kRc, R"(\n    mkdir (\S+) )"), directories);
    for (const std::string& directory : directories) {
        const Made made = madeByInit(directory);
        EXPECT_EQ(made.mode, find("dropbox/Directories.cpp", "kDirectoryMode = (\\d+);"));
        EXPECT_EQ(made.user, find(kRc, R"(\n    user (\w+)\n)"));
        EXPECT_EQ(made.group, find(kRc, R"(\n    group (\w+)\n)"));
    }
    EXPECT_TRUE(sources::holds(kRc, "\non post-fs-data\n    mkdir "));
}

TEST(Names, PolicyLabelsThePathsOfTheCode) {
    for (const std::string& path : {dropbox(), dropbox() + "/a/b", statisticsFile()}) {
        EXPECT_EQ(labelOf(path), "lumvndhal_data_file");
    }
    EXPECT_EQ(labelOf(versionFile()), "lumvndhal_verinfo_file");
    EXPECT_EQ(labelOf(folderOf(versionFile())), "lumvndhal_verinfo_file");
    EXPECT_EQ(labelOf(countFile()), "lumvndhal_persist_file");
    EXPECT_EQ(labelOf(folderOf(countFile())), "lumvndhal_persist_file");
    for (const std::string& node : socNodes()) {
        ASSERT_EQ(node.rfind("/sys/", 0), 0U);
        EXPECT_EQ(typesFor("genfs_contexts", node.substr(4)), Texts{"sysfs_lumvndhal_soc"}) << node;
    }
    EXPECT_EQ(labels("genfs_contexts").size(), socNodes().size());
    EXPECT_EQ(labels("file_contexts").size(), 4U);
}

// A path without its first slash names something beside the dropbox.
TEST(Names, PolicyLabelsNothingBesideThePathsOfTheCode) {
    for (const std::string& path : {dropbox() + "x", folderOf(dropbox()), serviceProgram() + "2"}) {
        for (const Label& label : labels("file_contexts")) {
            EXPECT_FALSE(std::regex_match(path, std::regex(label.what))) << path;
        }
    }
}

// What is left out of the log is the dropbox and its slash.
TEST(Names, LogLeavesOutTheLengthOfTheDropbox) {
    EXPECT_EQ(find("service/Log.h", "kUnloggedPathLength = (\\d+);"),
              std::to_string(dropbox().size() + 1));
}

TEST(Names, PropertyIsTheOneThatTheCodeReads) {
    const std::string prefix = "vendor.tav.lum.";
    EXPECT_EQ(property().rfind(prefix, 0), 0U);
    EXPECT_EQ(typesFor("property_contexts", prefix), Texts{"vendor_lumvndhal_prop"});
    EXPECT_EQ(typesFor("property_contexts", property()), Texts{"vendor_lumvndhal_prop"});
    EXPECT_EQ(labels("property_contexts").size(), 2U);
}

TEST(Names, DocumentsNameWhatIsThere) {
    const Texts endings = {"halimpl", "service", "service.rc", "service.xml", "V1-ndk",
                           "V1-java", "V1-rust", "update-api", "freeze-api"};
    for (const char* document : {"docs/android.md", "docs/interface.md", "docs/security.md"}) {
        for (const std::string& name : findAll(document, R"(vendor\.tav\.(\w+-[\w.-]*\w))")) {
            const bool isKnown = std::any_of(endings.begin(), endings.end(), [&](auto& ending) {
                return "vendor.tav." + name == package() + "-" + ending;
            });
            EXPECT_TRUE(isKnown) << document << ": " << name;
        }
        for (const std::string& name : findAll(document, R"((vendor\.tav\.lum\.[\w.]*\w))")) {
            EXPECT_EQ(name, property()) << document;
        }
    }
    EXPECT_TRUE(sources::holds("docs/android.md", registeredName()));
    EXPECT_TRUE(sources::holds("docs/interface.md", registeredName()));
    EXPECT_TRUE(sources::holds("docs/android.md",
                               find("service/Log.h", R"re(LUM_LOG_TAG "([^"]+)")re")));
}
