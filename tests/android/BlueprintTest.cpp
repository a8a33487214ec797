// The Android.bp files: that they can be read, and that they build what the other build builds.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <stdexcept>

#include "Blueprint.h"
#include "SourceTree.h"

namespace {

using blueprint::Module;
using Texts = std::vector<std::string>;

const Texts kRoomsOfTheLibrary = {"service", "campaign", "deviceinfo", "dropbox", "transfer"};
const std::string kPackage = "vendor.tav.lumvndhal_aidl";

// The texts of a list, those of the module's defaults included.
Texts listed(const Module& module, const std::string& property) {
    Texts texts;
    if (module.has(property)) texts = module[property].texts();
    if (!module.has("defaults")) return texts;
    for (const std::string& name : module["defaults"].texts()) {
        const Texts more = listed(sources::module(name), property);
        texts.insert(texts.end(), more.begin(), more.end());
    }
    return texts;
}

std::string in(const std::string& folder, const std::string& name) {
    return folder + "/" + name;
}

// Every module of this project with the folder that it is in.
template <class Visit>
void forEachModule(Visit visit) {
    for (const std::string& folder : sources::blueprintFolders()) {
        for (const Module& module : sources::modulesIn(folder)) visit(folder, module);
    }
}

bool contains(const Texts& texts, const std::string& text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

// "folder/file" of every source of the module and of the file groups that it names.
Texts sourcesOf(const std::string& name) {
    Texts paths;
    std::string folder;
    const Module module = sources::module(name, &folder);
    for (const std::string& source : listed(module, "srcs")) {
        if (source.front() == ':') {
            const Texts more = sourcesOf(source.substr(1));
            paths.insert(paths.end(), more.begin(), more.end());
        } else {
            paths.push_back(in(folder, source));
        }
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

Texts sourcesOnDisk(const Texts& rooms) {
    Texts paths;
    for (const std::string& room : rooms) {
        for (const std::string& name : sources::namesIn(room, ".cpp")) {
            paths.push_back(in(room, name));
        }
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

}  // namespace

TEST(Blueprint, ReadsEveryKindOfValue) {
    const auto modules = blueprint::parse(
            "// comment\nmore = [\"b\"]\n"
            "one { name: \"a\" + \"b\", /* { */ yes: true, no: false, number: 12,\n"
            "  list: [\"a,]\", \"\\\"\"] + more, map: { inner: [], }, }\ntwo { name: \"c\" }");
    ASSERT_EQ(modules.size(), 2U);
    EXPECT_EQ(modules[0].type, "one");
    EXPECT_EQ(modules[0].name(), "ab");
    EXPECT_TRUE(std::get<bool>(modules[0]["yes"].is));
    EXPECT_FALSE(std::get<bool>(modules[0]["no"].is));
    EXPECT_EQ(std::get<int>(modules[0]["number"].is), 12);
    EXPECT_EQ(modules[0]["list"].texts(), (Texts{"a,]", "\"", "b"}));
    EXPECT_TRUE(modules[0]["map"].map().at("inner").list().empty());
    EXPECT_EQ(modules[1].name(), "c");
}

TEST(Blueprint, RefusesWhatIsNoBlueprint) {
    for (const char* text :
         {"one", "one {", "one { name: \"a\" } }", "one { name \"a\" }", "one { name: \"a }",
          "one { name: \"a\", list: [\"a\" \"b\"] }", "one { name: \"a\", list: [\"a\" }",
          "one { name: \"a\", name: \"b\" }", "one { name: \"a\" other: true }", "one { }",
          "one { name: unknown }", "one { name: \"a\" + [] }", "/* one { name: \"a\" }",
          "one { name: \"a\",, }", "one [ name: \"a\" ]"}) {
        EXPECT_THROW(blueprint::parse(text), std::runtime_error) << text;
    }
}

TEST(AndroidBp, EveryFileIsReadAndEveryModuleHasANameOfItsOwn) {
    std::set<std::string> names;
    for (const std::string& folder : sources::blueprintFolders()) {
        const auto modules = sources::modulesIn(folder);
        EXPECT_FALSE(modules.empty()) << folder;
        for (const Module& module : modules) EXPECT_TRUE(names.insert(module.name()).second);
    }
    for (const Texts& rooms : {kRoomsOfTheLibrary, Texts{"interface", "host", "tests"}}) {
        for (const std::string& room : rooms) EXPECT_TRUE(sources::exists(room + "/Android.bp"));
    }
    for (const char* room : {"platform", "device", "interface/ndk", "ctl", "bench", "fuzz"}) {
        EXPECT_FALSE(sources::exists(std::string(room) + "/Android.bp")) << room;
    }
}

TEST(AndroidBp, LibraryIsBuiltFromEverySourceOfItsRooms) {
    EXPECT_EQ(sourcesOf(kPackage + "-halimpl"), sourcesOnDisk(kRoomsOfTheLibrary));
}

TEST(AndroidBp, HostIsBuiltFromEverySourceOfItsRoom) {
    Texts paths = sourcesOf(kPackage + "-service");
    for (const std::string& library :
         listed(sources::module(kPackage + "-service"), "static_libs")) {
        const Texts more = sourcesOf(library);
        paths.insert(paths.end(), more.begin(), more.end());
    }
    std::sort(paths.begin(), paths.end());
    EXPECT_EQ(paths, sourcesOnDisk({"host"}));
}

TEST(AndroidBp, BothBuildsNameTheSameSources) {
    Texts rooms = kRoomsOfTheLibrary;
    rooms.emplace_back("host");
    for (const std::string& room : rooms) {
        Texts named = sources::findAll(room + "/CMakeLists.txt", R"(\b(\w+\.cpp)\b)");
        std::sort(named.begin(), named.end());
        EXPECT_EQ(named, sources::namesIn(room, ".cpp")) << room;
    }
}

TEST(AndroidBp, EveryFileThatAModuleNamesIsThere) {
    forEachModule([](const std::string& folder, const Module& module) {
        if (module.type == "aidl_interface") return;  // names its files by a pattern
        for (const char* property : {"srcs", "init_rc", "vintf_fragments"}) {
            if (!module.has(property)) continue;
            for (const std::string& name : module[property].texts()) {
                EXPECT_TRUE(name.front() == ':' || sources::exists(in(folder, name)))
                        << folder << ": " << name;
            }
        }
    });
    const Module library = sources::module(kPackage + "-halimpl");
    EXPECT_TRUE(sources::exists(in("service", library["version_script"].text())));
}

TEST(AndroidBp, LibraryStandsOnThePlatformsLibraries) {
    const Texts libraries = listed(sources::module(kPackage + "-halimpl"), "shared_libs");
    for (const char* name :
         {"libbinder_ndk", "libfmq", "liblog", "libcutils", "vendor.tav.lumvndhal_aidl-V1-ndk",
          "android.hardware.common-V2-ndk", "android.hardware.common.fmq-V1-ndk"}) {
        EXPECT_TRUE(contains(libraries, name)) << name;
    }
}

TEST(AndroidBp, LibrariesOfThisProjectThatAModuleNamesAreThere) {
    const std::string made = kPackage + "-V1-ndk";  // by the build, of the interface
    forEachModule([&](const std::string&, const Module& module) {
        if (module.type == "aidl_interface" || module.type == "filegroup") return;
        for (const char* property : {"shared_libs", "static_libs", "header_libs"}) {
            for (const std::string& name : listed(module, property)) {
                const bool isOurs = name.rfind("lumvndhal", 0) == 0 || name.rfind(kPackage, 0) == 0;
                if (isOurs && name != made) sources::module(name);
            }
        }
    });
}

TEST(AndroidBp, EverythingIsForTheVendorPartition) {
    const Module defaults = sources::module("lumvndhal_defaults");
    EXPECT_TRUE(std::get<bool>(defaults["vendor"].is));
    forEachModule([](const std::string&, const Module& module) {
        if (module.type.rfind("cc_", 0) != 0) return;
        const bool byDefaults = module.has("defaults") &&
                                contains(module["defaults"].texts(), "lumvndhal_defaults");
        EXPECT_TRUE(byDefaults || std::get<bool>(module["vendor"].is)) << module.name();
    });
    EXPECT_EQ(sources::module(kPackage + "-service")["relative_install_path"].text(), "hw");
}
