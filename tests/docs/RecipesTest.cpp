// SPDX-License-Identifier: Apache-2.0
// The recipes for other build systems, which are not run here, against the tree.
#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::SizeIs;

using Words = std::set<std::string>;
namespace fs = std::filesystem;

const fs::path TREE = SOURCE_TREE;
const fs::path YOCTO = TREE / "packaging/yocto/recipes-connectivity/ovo/ovo_" OVO_VERSION ".bb";
const fs::path BUILDROOT = TREE / "packaging/buildroot/package/ovo/ovo.mk";

std::string contentOf(const fs::path& path) {
    std::ifstream file(path);
    EXPECT_TRUE(file) << "cannot read " << path;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

Words allOf(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern, std::regex::ECMAScript | std::regex::multiline);
    Words words;
    for (auto match = std::sregex_iterator(text.begin(), text.end(), expression);
         match != std::sregex_iterator(); ++match)
        words.insert(match->str(1));
    return words;
}

std::string digestOfTheLicence(const std::string& program) {
    const Finished result = run({program, (TREE / "LICENSE").string()});
    EXPECT_EQ(result.status, 0);
    return result.output.substr(0, result.output.find(' '));
}

/// Options of the build and directories that it takes from a packager.
Words optionsOfTheBuild() {
    Words options = allOf(contentOf(TREE / "CMakeLists.txt"), R"(^option\((OVO_\w+) )");
    options.merge(allOf(contentOf(TREE / "cmake/Install.cmake"), R"(^ *set\((OVO_\w+) .* CACHE )"));
    return options;
}

/// Names after a letter in sysusers.d: "u" users, which have a group of that name, "g" groups.
Words systemUsers(const std::string& type) {
    return allOf(contentOf(TREE / "packaging/systemd/ovo.sysusers"), "^" + type + " +([a-z-]+) ");
}

} // namespace

TEST(Recipes, AreOfThisVersionAndLicence) {
    EXPECT_THAT(contentOf(BUILDROOT), HasSubstr("\nOVO_VERSION = " OVO_VERSION "\n"));
    Words recipes;
    for (const auto& entry : fs::directory_iterator(YOCTO.parent_path()))
        recipes.insert(entry.path().string());
    EXPECT_THAT(recipes, testing::ElementsAre(YOCTO.string()));

    const std::string recipe = contentOf(YOCTO);
    EXPECT_THAT(recipe, HasSubstr("file://LICENSE;md5=" + digestOfTheLicence("md5sum") + "\""));
    EXPECT_THAT(contentOf(BUILDROOT.parent_path() / "ovo.hash"),
                HasSubstr("\nsha256  " + digestOfTheLicence("sha256sum") + "  LICENSE\n"));
    EXPECT_THAT(recipe, HasSubstr("LICENSE = \"Apache-2.0\""));
    EXPECT_THAT(contentOf(BUILDROOT), HasSubstr("\nOVO_LICENSE = Apache-2.0\n"));
}

/// A package of another minor version is not taken.
TEST(Recipes, IntegratorsAskForThisVersion) {
    const std::string version = OVO_VERSION;
    const Words minor = {version.substr(0, version.rfind('.'))};
    for (const char* file : {"packaging/example/CMakeLists.txt", "docs/porting.md"})
        EXPECT_EQ(allOf(contentOf(TREE / file), R"(^find_package\(ovo ([0-9.]+) )"), minor) << file;
}

TEST(Recipes, SetOnlyOptionsThatExist) {
    const Words known = optionsOfTheBuild();
    EXPECT_THAT(known, IsSupersetOf({"OVO_TESTS", "OVO_TOOLS", "OVO_SYSTEMD_UNIT_DIR"}));
    for (const fs::path& recipe : {YOCTO, BUILDROOT}) {
        const Words options = allOf(contentOf(recipe), "-D(OVO_\\w+)=");
        EXPECT_GE(options.size(), 5U) << recipe;
        for (const std::string& option : options)
            EXPECT_THAT(known, Contains(option)) << recipe;
    }
}

/// Every library that the build asks pkg-config for is named by the recipes, under their names.
TEST(Recipes, NameEveryLibrary) {
    const std::map<std::string, std::pair<std::string, std::string>> names = {
        {"jsoncpp", {"jsoncpp", "jsoncpp"}},   {"libmosquitto", {"mosquitto", "mosquitto"}},
        {"sqlite3", {"sqlite3", "sqlite"}},    {"libcurl", {"curl", "libcurl"}},
        {"libcrypto", {"openssl", "openssl"}}, {"openssl", {"openssl", "openssl"}},
        {"pugixml", {"pugixml", "pugixml"}},   {"zlib", {"zlib", "zlib"}},
    };
    const Words needed = allOf(contentOf(TREE / "cmake/Dependencies.cmake"),
                               R"(^pkg_check_modules\(\w+ REQUIRED IMPORTED_TARGET ([\w+-]+)\))");
    EXPECT_THAT(needed, SizeIs(names.size()));
    const Words yocto = allOf(contentOf(YOCTO), "^DEPENDS = \"([^\"]*)\"");
    const Words buildroot = allOf(contentOf(BUILDROOT), "^OVO_DEPENDENCIES = \\\\\n\t([^\n]*)");
    ASSERT_THAT(yocto, SizeIs(1));
    ASSERT_THAT(buildroot, SizeIs(1));
    for (const std::string& library : needed) {
        ASSERT_EQ(names.count(library), 1U) << library;
        EXPECT_THAT(" " + *yocto.begin() + " ", HasSubstr(" " + names.at(library).first + " "));
        EXPECT_THAT(" " + *buildroot.begin() + " ",
                    HasSubstr(" " + names.at(library).second + " "));
    }
}

/// No unit and no user more than those of the tree either: a recipe that names what nobody installs
/// fails on its system.
TEST(Recipes, NameTheUnitsAndUsersOfTheTree) {
    Words units;
    for (const auto& entry : fs::directory_iterator(TREE / "packaging/systemd")) {
        const std::string name = entry.path().filename().string();
        if (name.ends_with(".service.in"))
            units.insert(name.substr(0, name.size() - 3));
    }
    EXPECT_THAT(units, Contains("ovo.service"));
    const std::string recipe = contentOf(YOCTO);
    const Words named = allOf(recipe, "^SYSTEMD_SERVICE:\\$\\{PN\\} = \"(.*)\"");
    ASSERT_THAT(named, SizeIs(1));
    EXPECT_EQ(allOf(*named.begin(), "([^ ]+)"), units);

    const Words users = systemUsers("u");
    const Words groups = systemUsers("g");
    EXPECT_THAT(users, Contains("ovo"));
    EXPECT_THAT(groups, Contains("halden"));
    Words all = users;
    all.insert(groups.begin(), groups.end());
    EXPECT_EQ(allOf(recipe, "--shell /sbin/nologin ([a-z-]+)"), users);
    EXPECT_EQ(allOf(recipe, "--system --gid ([a-z-]+) "), users);
    const Words added = allOf(recipe, "^GROUPADD_PARAM:\\$\\{PN\\} = \"(.*)\"");
    ASSERT_THAT(added, SizeIs(1));
    EXPECT_EQ(allOf(*added.begin(), "--system ([a-z-]+)"), all);
    const std::string make = contentOf(BUILDROOT);
    EXPECT_EQ(allOf(make, "^\t([a-z][a-z-]*) -1 [a-z-]+ -1 \\* "), users);
    EXPECT_EQ(allOf(make, "^\t- -1 ([a-z-]+) -1 "), groups);
}

/// What stands in for systemd-tmpfiles where that is missing: the script's own lines.
TEST(Recipes, TheStartScriptMakesTheDirectories) {
    const TemporaryDirectory scratch;
    const std::string top = scratch.path();
    const std::string owner = run({"id", "-un"}).output;
    const std::string group = run({"id", "-gn"}).output;
    const std::string who =
        owner.substr(0, owner.size() - 1) + " " + group.substr(0, group.size() - 1) + " -\n";
    fs::create_directory(top + "/elsewhere");
    fs::permissions(top + "/elsewhere", fs::perms::owner_all);
    fs::create_directory_symlink("elsewhere", top + "/link");
    writeHostFile(top + "/key", "secret");
    writeHostFile(top + "/tmpfiles.conf", "# comment\n#Type Path Mode User Group Age Argument\n\n"
                                          "d " +
                                              top + "/run/deep 2750 " + who + "f " + top +
                                              "/run/deep/store 0600 " + who + "d " + top +
                                              "/link 0777 " + who + "z " + top + "/key 0400 " +
                                              who + "z " + top + "/missing 0400 " + who);
    const std::string script = (BUILDROOT.parent_path() / "S59ovo-bus").string();
    const std::string command = "DIRECTORIES=" + top + "/tmpfiles.conf; eval \"$(sed -n " +
                                "'/^make_directories() {/,/^}/p' " + script +
                                ")\"; make_directories && make_directories";
    const Finished result = run({"sh", "-euc", command});
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.status, 0);
    const auto modeOf = [&](const std::string& name) {
        struct stat status = {};
        EXPECT_EQ(::stat((top + "/" + name).c_str(), &status), 0) << name;
        return status.st_mode & 07777U;
    };
    EXPECT_EQ(modeOf("run/deep"), 02750U);
    EXPECT_EQ(modeOf("run/deep/store"), 0600U);
    EXPECT_EQ(modeOf("key"), 0400U);
    EXPECT_EQ(modeOf("elsewhere"), 0700U) << "through a link";
    EXPECT_FALSE(fs::exists(top + "/missing"));
}
