// The Android.bp files: that they can be read, and that they build what the other build builds.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "SourceTree.h"

namespace {

using blueprint::Module;
using sources::Texts;

const Texts kLibraryDirectories = {"service", "campaign", "deviceinfo", "dropbox", "transfer"};
const std::string kPackage = "vendor.tav.lumvndhal_aidl";

// The texts of a list; none when the module has no such property.
Texts listed(const Module& module, const std::string& property) {
    return module.value(property, Texts());
}

std::string inFolderOf(const Module& module, const std::string& name) {
    return module.at("folder").get<std::string>() + "/" + name;
}

// "folder/file" of every source of the module, of the file groups that it names and of the parts
// that are linked into it, sorted.
Texts sourcesOf(const std::string& name) {
    const Module module = sources::module(name);
    Texts paths;
    Texts parts = listed(module, "static_libs");
    for (const std::string& source : listed(module, "srcs")) {
        if (source.front() == ':') {
            parts.push_back(source.substr(1));
        } else {
            paths.push_back(inFolderOf(module, source));
        }
    }
    for (const std::string& part : parts) {
        const Texts more = sourcesOf(part);
        paths.insert(paths.end(), more.begin(), more.end());
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

Texts sourcesOnDisk(const Texts& directories) {
    Texts paths;
    for (const std::string& directory : directories) {
        for (const std::string& name : sources::namesIn(directory, "\\.cpp")) {
            paths.push_back(directory + "/" + name);
        }
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

}  // namespace

TEST(AndroidBp, EveryRoomForTheDeviceHasAFileAndEveryModuleANameOfItsOwn) {
    std::set<std::string> names;
    std::set<std::string> folders;
    for (const Module& module : sources::modules()) {
        EXPECT_TRUE(names.insert(module.at("name")).second) << module.at("name");
        folders.insert(module.at("folder"));
    }
    EXPECT_EQ(folders, (std::set<std::string>{"", "campaign", "deviceinfo", "dropbox", "host",
                                              "interface", "service", "tests", "transfer"}));
}

TEST(AndroidBp, LibraryAndHostAreBuiltFromEverySourceOfTheirRooms) {
    EXPECT_EQ(sourcesOf(kPackage + "-halimpl"), sourcesOnDisk(kLibraryDirectories));
    EXPECT_EQ(sourcesOf(kPackage + "-service"), sourcesOnDisk({"host"}));
}

TEST(AndroidBp, BothBuildsNameTheSameSources) {
    Texts directories = kLibraryDirectories;
    directories.emplace_back("host");
    for (const std::string& directory : directories) {
        Texts named = sources::findAll(directory + "/CMakeLists.txt", R"(\b(\w+\.cpp)\b)");
        std::sort(named.begin(), named.end());
        EXPECT_EQ(named, sources::namesIn(directory, "\\.cpp")) << directory;
    }
}

TEST(AndroidBp, WhatAModuleNamesIsThere) {
    for (const Module& module : sources::modules()) {
        if (module.at("type") == "aidl_interface") continue;  // names its files by a pattern
        for (const std::string& name : listed(module, "srcs")) {
            const bool isGroup = name.front() == ':';
            EXPECT_TRUE(isGroup || sources::exists(inFolderOf(module, name))) << name;
        }
        for (const char* property : {"shared_libs", "static_libs", "header_libs", "defaults"}) {
            for (const std::string& name : listed(module, property)) {
                const bool isOurs = name.find("lumvndhal") != std::string::npos;
                // The interface's library is made by the build.
                if (isOurs && name != kPackage + "-V1-ndk") sources::module(name);
            }
        }
    }
    const Module library = sources::module(kPackage + "-halimpl");
    EXPECT_TRUE(sources::exists(inFolderOf(library, library.at("version_script"))));
}

TEST(AndroidBp, EverythingIsForTheVendorPartition) {
    EXPECT_TRUE(sources::module("lumvndhal_defaults").at("vendor"));
    for (const Module& module : sources::modules()) {
        if (module.at("type").get<std::string>().rfind("cc_", 0) != 0) continue;
        const bool byDefaults = listed(module, "defaults") == Texts{"lumvndhal_defaults"};
        EXPECT_TRUE(byDefaults || module.at("vendor")) << module.at("name");
    }
}
