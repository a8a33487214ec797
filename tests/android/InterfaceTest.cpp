// The interface: its definition, the frozen version, and the mapping for the Linux build agree.
#include <gtest/gtest.h>

#include <map>
#include <regex>

#include "SourceTree.h"

namespace {

using Texts = std::vector<std::string>;

const std::string kDefinition = "interface/vendor/tav/lumvndhal_aidl/";
const std::string kSnapshots = "interface/aidl_api/vendor.tav.lumvndhal_aidl/";
const std::string kMapping = "interface/ndk/include/aidl/vendor/tav/lumvndhal_aidl/";
const Texts kTypes = {"ILumvndhal", "LumvndhalGenericData"};

std::string replaced(const std::string& text, const char* pattern, const std::string& by) {
    return std::regex_replace(text, std::regex(pattern), by);
}

std::string withWholeName(const std::string& text, const std::string& name,
                          const std::string& whole) {
    return std::regex_replace(text, std::regex("([^.\\w])" + name + "\\b"), "$1" + whole);
}

// A definition without comments and imports, with whole type names and blanks only where two words
// would run into each other.
std::string normalised(const std::string& path) {
    std::map<std::string, std::string> imports;
    for (const std::string& name : sources::findAll(path, R"(import ([\w.]+);)")) {
        imports[name.substr(name.rfind('.') + 1)] = name;
    }
    std::string text = replaced(sources::read(path), R"(/\*([^*]|\*(?!/))*\*/|//[^\n]*)", " ");
    text = replaced(text, R"(import [\w.]+;)", " ");
    for (const auto& [name, whole] : imports) text = withWholeName(text, name, whole);
    text = replaced(text, R"(\s+)", " ");
    text = replaced(text, R"(^ | $)", "");
    return replaced(text, R"( ?([{}()<>,;\[\]]) ?)", "$1");
}

// The names of the methods, in order.
Texts methodsOf(const std::string& path) {
    return sources::findAll(path, R"(\n\s+(?:boolean|int) (\w+)\()");
}

std::string inCamelCase(const std::string& name) {
    std::string text = "k";
    bool capital = true;
    for (const char c : name) {
        if (c != '_') text += capital ? static_cast<char>(std::toupper(c)) : c;
        capital = c == '_';
    }
    return text;
}

}  // namespace

TEST(Interface, DefinitionIsWhatTheSnapshotsHold) {
    for (const std::string& type : kTypes) {
        const std::string definition = normalised(kDefinition + type + ".aidl");
        for (const std::string version : {"current", "1"}) {
            const std::string path = kSnapshots + version + "/vendor/tav/lumvndhal_aidl/";
            EXPECT_EQ(normalised(path + type + ".aidl"), definition) << version;
            EXPECT_EQ(sources::namesIn(path, ".aidl").size(), kTypes.size());
        }
    }
    EXPECT_EQ(sources::namesIn(kDefinition, ".aidl").size(), kTypes.size());
}

TEST(Interface, FrozenVersionHasTheSixMethodsInTheirOrder) {
    const Texts methods = methodsOf(kSnapshots + "1/vendor/tav/lumvndhal_aidl/ILumvndhal.aidl");
    EXPECT_EQ(methods, (Texts{"configure", "request_read", "get_vnd_data", "set_vnd_data",
                              "update_vendor_dropbox", "write_data_to_vendor_dropbox"}));
}

// The order decides about the transaction codes.
TEST(Interface, MappingHasTheMethodsInTheSameOrder) {
    Texts methods = methodsOf(kDefinition + "ILumvndhal.aidl");
    Texts codes;
    for (const std::string& method : methods) codes.push_back(inCamelCase(method));
    codes.emplace_back("kGetInterfaceHash");
    codes.emplace_back("kGetInterfaceVersion");
    EXPECT_EQ(sources::findAll("interface/ndk/Transactions.h", R"(\n    (k\w+)( =|,))"), codes);
    methods.emplace_back("getInterfaceVersion");
    methods.emplace_back("getInterfaceHash");
    EXPECT_EQ(sources::findAll(kMapping + "ILumvndhal.h", R"(ScopedAStatus (\w+)\()"), methods);
}

TEST(Interface, MappingHasTheFieldsOfTheReplyInTheSameOrder) {
    EXPECT_EQ(sources::findAll(kDefinition + "LumvndhalGenericData.aidl", R"(\n    \w+ (\w+);)"),
              (Texts{"data_size", "data"}));
    EXPECT_EQ(sources::findAll(kMapping + "LumvndhalGenericData.h",
                               R"(\n    (?:int32_t|std::string) (\w+)(?: = 0)?;)"),
              (Texts{"data_size", "data"}));
}

TEST(Interface, VersionIsTheSameEverywhere) {
    const Texts versions = sources::namesIn(kSnapshots, "");
    ASSERT_EQ(versions, (Texts{"1", "current"}));
    EXPECT_EQ(sources::find(kMapping + "ILumvndhal.h", R"(int32_t version = (\d+);)"), "1");
    const auto module = sources::module("vendor.tav.lumvndhal_aidl");
    EXPECT_TRUE(std::get<bool>(module["frozen"].is));
    const auto& frozen = module["versions_with_info"].list();
    ASSERT_EQ(frozen.size(), 1U);
    EXPECT_EQ(frozen[0].map().at("version").text(), "1");
    EXPECT_EQ(frozen[0].map().at("imports").texts(), module["imports"].texts());
    EXPECT_EQ(module["imports"].texts(),
              (Texts{"android.hardware.common-V2", "android.hardware.common.fmq-V1"}));
    EXPECT_EQ(module["stability"].text(), "vintf");
    EXPECT_TRUE(std::get<bool>(module["backend"].map().at("ndk").map().at("enabled").is));
    EXPECT_EQ(sources::find("host/vendor.tav.lumvndhal_aidl-service.xml",
                            R"(<version>(\d+)</version>)"),
              "1");
    EXPECT_EQ(
            sources::find("host/framework_compatibility_matrix.xml", R"(<version>(\d+)</version>)"),
            "1");
    EXPECT_EQ(sources::find("interface/CMakeLists.txt", R"(OUTPUT_NAME \S+-V(\d+)-ndk)"), "1");
}

TEST(Interface, MappingTellsTheHashOfTheFrozenVersion) {
    EXPECT_EQ(sources::find(kMapping + "ILumvndhal.h", R"(hash = "(\w{40})\")") + "\n",
              sources::read(kSnapshots + "1/.hash"));
}
