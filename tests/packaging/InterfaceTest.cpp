// The interface: its definition, the frozen version, and the mapping for the Linux build agree.
#include <gtest/gtest.h>

#include <regex>

#include "SourceTree.h"

namespace {

using sources::find;
using sources::findAll;
using sources::Texts;

const std::string kDefinition = "interface/vendor/tav/lumvndhal_aidl/";
const std::string kSnapshots = "interface/aidl_api/vendor.tav.lumvndhal_aidl/";
const std::string kMapping = "linux/mapping/include/aidl/vendor/tav/lumvndhal_aidl/";

// A definition without comments, imports and the packages of types, with blanks only where two
// words would run into each other.
std::string normalised(const std::string& path) {
    static const std::vector<std::pair<std::regex, std::string>> kSteps = {
            {std::regex(R"(/\*([^*]|\*(?!/))*\*/|//[^\n]*|import [\w.]+;|\b(\w+\.)+(?=[A-Z]))"),
             ""},
            {std::regex(R"(\s+)"), " "},
            {std::regex(R"(^ | $| ?([{}()<>,;\[\]]) ?)"), "$1"}};
    std::string text = sources::read(path);
    for (const auto& [pattern, by] : kSteps) text = std::regex_replace(text, pattern, by);
    return text;
}

}  // namespace

TEST(Interface, DefinitionIsWhatTheSnapshotsHold) {
    const Texts files = {"ILumvndhal.aidl", "LumvndhalGenericData.aidl"};
    EXPECT_EQ(sources::namesIn(kDefinition, "\\.aidl"), files);
    for (const std::string version : {"current", "1"}) {
        const std::string folder = kSnapshots + version + "/vendor/tav/lumvndhal_aidl/";
        EXPECT_EQ(sources::namesIn(folder, "\\.aidl"), files);
        for (const std::string& file : files) {
            EXPECT_EQ(normalised(folder + file), normalised(kDefinition + file)) << version;
        }
    }
}

// The order decides about the transaction codes and the layout of the reply.
TEST(Interface, MappingHasMethodsAndFieldsInTheSameOrder) {
    Texts methods = findAll(kDefinition + "ILumvndhal.aidl", R"(\n\s+(?:boolean|int) (\w+)\()");
    EXPECT_EQ(methods, (Texts{"configure", "request_read", "get_vnd_data", "set_vnd_data",
                              "update_vendor_dropbox", "write_data_to_vendor_dropbox"}));
    EXPECT_EQ(findAll("linux/mapping/Transactions.h", R"(\n    (k\w+)( =|,))"),
              (Texts{"kConfigure", "kRequestRead", "kGetVndData", "kSetVndData",
                     "kUpdateVendorDropbox", "kWriteDataToVendorDropbox", "kGetInterfaceHash",
                     "kGetInterfaceVersion"}));
    methods.insert(methods.end(), {"getInterfaceVersion", "getInterfaceHash"});
    EXPECT_EQ(findAll(kMapping + "ILumvndhal.h", R"(ScopedAStatus (\w+)\()"), methods);

    const Texts fields = {"data_size", "data"};
    EXPECT_EQ(findAll(kDefinition + "LumvndhalGenericData.aidl", R"(\n    \w+ (\w+);)"), fields);
    EXPECT_EQ(findAll(kMapping + "LumvndhalGenericData.h",
                      R"(\n    (?:int32_t|std::string) (\w+)(?: = 0)?;)"),
              fields);
}

TEST(Interface, VersionAndHashAreTheSameEverywhere) {
    EXPECT_EQ(sources::namesIn(kSnapshots, ""), (Texts{"1", "current"}));
    EXPECT_EQ(find(kMapping + "ILumvndhal.h", R"(int32_t version = (\d+);)"), "1");
    EXPECT_EQ(find(kMapping + "ILumvndhal.h", R"(hash = "(\w{40})\")") + "\n",
              sources::read(kSnapshots + "1/.hash"));

    const auto module = sources::module("vendor.tav.lumvndhal_aidl");
    const Texts imports = {"android.hardware.common-V2", "android.hardware.common.fmq-V1"};
    const blueprint::Module frozen = {{"version", "1"}, {"imports", imports}};
    EXPECT_EQ(module.at("imports"), imports);
    EXPECT_EQ(module.at("versions_with_info"), blueprint::Module::array({frozen}));
    EXPECT_EQ(module.at("stability"), "vintf");
    EXPECT_TRUE(module.at("frozen") && module.at("backend").at("ndk").at("enabled"));
    for (const std::string& import : imports) {
        EXPECT_TRUE(sources::holds("Android.bp", '"' + import + "-ndk\"")) << import;
    }
}
