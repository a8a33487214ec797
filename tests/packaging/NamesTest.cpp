// Names and paths that stand in more than one file: the code, Android.bp, the .rc, the VINTF files
// and the policy agree.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

#include "SourceTree.h"

namespace {

using sources::find;
using sources::findAll;
using sources::Texts;

const std::string kPackage = "vendor.tav.lumvndhal_aidl";
const std::string kDescriptor = kPackage + ".ILumvndhal";
const std::string kInstance = kDescriptor + "/default";
const std::string kLibrary = kPackage + "-halimpl";
const std::string kProgram = kPackage + "-service";
const std::string kInstalled = "/vendor/bin/hw/" + kProgram;
const std::string kDropbox = "/data/vendor/lum";
const std::string kStatistics = kDropbox + "/shared/1503";
const std::string kVersionInfo = "/vendor/firmware_mnt/verinfo";
const std::string kPersist = "/mnt/vendor/persist/lum";
const std::string kProperty = "vendor.tav.lum.frc.disable";
const std::string kRc = "host/" + kProgram + ".rc";

// The one text that the pattern's group matches in the file.
struct Place {
    std::string file, pattern, text;
};

void expectAt(const std::vector<Place>& places) {
    for (const Place& place : places) {
        EXPECT_EQ(find(place.file, place.pattern), place.text) << place.file;
    }
}

// The types that the policy gives a path; one line alone ought to speak of it.
Texts labelsOf(const std::string& path) {
    const std::string file = "sepolicy/file_contexts";
    const Texts patterns = findAll(file, R"((\S+)\s+u:object_r:\w+:s0\n)");
    const Texts types = findAll(file, R"(\s+u:object_r:(\w+):s0\n)");
    Texts labels;
    for (size_t i = 0; i < patterns.size(); ++i) {
        if (std::regex_match(path, std::regex(patterns[i]))) labels.push_back(types.at(i));
    }
    return labels;
}

}  // namespace

TEST(Names, PackageAndInstanceAreTheSameEverywhere) {
    expectAt({
            {"linux/mapping/BnLumvndhal.cpp", R"re(descriptor = "([^"]+)")re", kDescriptor},
            {"interface/vendor/tav/lumvndhal_aidl/ILumvndhal.aidl", "package ([^;]+);", kPackage},
            {"linux/mapping/CMakeLists.txt", R"(OUTPUT_NAME (\S+)\))", kPackage + "-V1-ndk"},
            {"service/LumvndhalImpl.h", R"(namespace aidl::([\w:]+) \{)",
             "vendor::tav::lumvndhal_aidl"},
            {"service/exports.map", R"(_Z(?:N|TVN)(4aidl\w+Impl))",
             "4aidl6vendor3tav14lumvndhal_aidl13LumvndhalImpl"},
            {"host/Options.h", R"re(std::string instance = "([^"]+)")re", "default"},
            {"host/main.cpp", R"(makeServiceName\(([\w.]+)\))", "options.instance"},
            {kRc, R"(\n    interface aidl (\S+)\n)", kInstance},
            {"sepolicy/service_contexts", R"((\S+)\s+u:object_r:\w+:s0)", kInstance},
    });
    const auto module = sources::module(kPackage);
    EXPECT_EQ(module.at("type"), "aidl_interface");
    EXPECT_EQ(module.at("owner"), "tav");
    EXPECT_EQ(module.at("srcs"), Texts{"vendor/tav/lumvndhal_aidl/*.aidl"});
}

TEST(Names, LibraryAndProgramAreCalledTheSameInBothBuildsAndByInit) {
    expectAt({
            {"service/CMakeLists.txt", R"(OUTPUT_NAME (\S+))", kLibrary},
            {"host/CMakeLists.txt", R"(OUTPUT_NAME (\S+)\))", kProgram},
            {"service/CMakeLists.txt", R"re(PREFIX "(\w*)" OUTPUT_NAME)re", ""},
            {kRc, R"(\nservice \S+ (\S+)\n)", kInstalled},
            {kRc, R"(\nservice (\S+) )", "vendor.lumvndhal"},
            {kRc, R"(\n    capabilities(.*)\n)", ""},
            {kRc, R"(\n    class (\w+)\n)", "hal"},
    });
    EXPECT_EQ(findAll(kRc, "\n    (oneshot|disabled|critical)"), Texts());
    for (const auto& name : findAll("docs/android.md", R"(init\.svc\.([\w.]*\w))")) {
        EXPECT_EQ(name, "vendor.lumvndhal");
    }
    EXPECT_EQ(sources::module(kLibrary).at("type"), "cc_library_shared");
    const auto program = sources::module(kProgram);
    EXPECT_EQ(program.at("type"), "cc_binary");
    EXPECT_EQ(program.at("relative_install_path"), "hw");
    EXPECT_EQ(program.at("shared_libs"), Texts{kLibrary});
    EXPECT_EQ(program.at("init_rc"), Texts{kProgram + ".rc"});
    EXPECT_EQ(program.at("vintf_fragments"), Texts{kProgram + ".xml"});
}

TEST(Names, InitMakesTheDirectoriesThatTheCodeExpects) {
    const std::string rights = " 0770 system system";
    EXPECT_EQ(findAll(kRc, "\n    mkdir (.*)"),
              (Texts{kDropbox + rights, kDropbox + "/shared" + rights, kStatistics + rights}));
    EXPECT_TRUE(sources::holds(kRc, "\non post-fs-data\n    mkdir "));
    expectAt({
            {kRc, R"(\n    user (\w+)\n)", "system"},
            {kRc, R"(\n    group (\w+)\n)", "system"},
            {"dropbox/Directories.cpp", R"(kDirectoryMode = (\d+);)", "0770"},
            {"dropbox/Directories.cpp", R"re(kRoot\[\] = "([^"]+)")re", kDropbox},
            {"service/VendorDataCommands.cpp", R"re(kStatisticsFile\[\] = "([^"]+)/[^/"]+")re",
             kStatistics},
            // What is left out of the log is the dropbox and its slash.
            {"service/Log.h", R"(kUnloggedPathLength = (\d+);)",
             std::to_string(kDropbox.size() + 1)},
    });
}

TEST(Names, PolicyLabelsThePathsOfTheCodeAndNothingBeside) {
    expectAt({
            {"deviceinfo/BuildId.cpp", R"re(kVersionFile\[\] = "([^"]+)/[^/"]+")re", kVersionInfo},
            {"deviceinfo/FactoryReset.cpp", R"re(define \w+_DIR "([^"]+)")re", kPersist},
            {"deviceinfo/ChipsetSerial.cpp", R"re(kSocId\[\] = "/sys([^"]+)")re",
             "/devices/soc0/soc_id"},
            {"deviceinfo/ChipsetSerial.cpp", R"re(kSerialNumber\[\] = "/sys([^"]+)")re",
             "/devices/soc0/serial_number"},
            {"service/VendorDataQueries.cpp", R"re(kFrcDisable\[\] = "([^"]+)")re", kProperty},
    });
    const std::vector<std::pair<std::string, Texts>> labelled = {
            {kDropbox, {"lumvndhal_data_file"}},
            {kStatistics + "/file", {"lumvndhal_data_file"}},
            {kVersionInfo, {"lumvndhal_verinfo_file"}},
            {kVersionInfo + "/file", {"lumvndhal_verinfo_file"}},
            {kPersist, {"lumvndhal_persist_file"}},
            {kPersist + "/file", {"lumvndhal_persist_file"}},
            {kInstalled, {"hal_lumvndhal_default_exec"}},
            {"/system" + kInstalled, {"hal_lumvndhal_default_exec"}},
            {kDropbox + "x", {}},  // what a path without its first slash names
            {"/data/vendor", {}},
            {kInstalled + "2", {}}};
    for (const auto& [path, labels] : labelled) EXPECT_EQ(labelsOf(path), labels) << path;
    EXPECT_EQ(findAll("sepolicy/genfs_contexts", R"((\S+) u:object_r:sysfs_lumvndhal_soc:s0\n)"),
              (Texts{"/devices/soc0/soc_id", "/devices/soc0/serial_number"}));
    EXPECT_EQ(findAll("sepolicy/property_contexts", R"((\S+)\s+u:object_r:vendor_lumvndhal_prop:)"),
              (Texts{"vendor.tav.lum.", kProperty}));
}

TEST(Names, DocumentsNameWhatIsThere) {
    const std::regex known(
            "vendor\\.tav\\.(lum\\.frc\\.disable|lumvndhal_aidl-(halimpl|service(\\.rc|\\.xml)?|"
            "V1-(ndk|java|rust)|update-api|freeze-api))");
    for (const char* document : {"docs/android.md", "docs/interface.md", "docs/security.md"}) {
        for (const std::string& name :
             findAll(document, R"((vendor\.tav\.(?:\w+-|lum\.)[\w.-]*\w))")) {
            EXPECT_TRUE(std::regex_match(name, known)) << document << ": " << name;
        }
    }
    EXPECT_TRUE(sources::holds("docs/android.md", kInstance));
    EXPECT_TRUE(sources::holds("docs/interface.md", kInstance));
    EXPECT_TRUE(sources::holds("docs/android.md",
                               find("service/Log.h", R"re(LUM_LOG_TAG "([^"]+)")re")));
}
