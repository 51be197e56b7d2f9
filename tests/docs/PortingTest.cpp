// SPDX-License-Identifier: Apache-2.0
// The page for those who port, against interfaces, targets and scripts of the tree.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

namespace {

using testing::Contains;
using testing::HasSubstr;

using Words = std::set<std::string>;
namespace fs = std::filesystem;

const fs::path TREE = SOURCE_TREE;

std::string contentOf(const fs::path& path) {
    std::ifstream file(path);
    EXPECT_TRUE(file) << "cannot read " << path;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

Words allOf(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern);
    Words words;
    for (auto match = std::sregex_iterator(text.begin(), text.end(), expression);
         match != std::sregex_iterator(); ++match)
        words.insert(match->str(1));
    return words;
}

std::string page() {
    return contentOf(TREE / "docs/porting.md");
}

/// Names by which the package exports the modules of the tree.
Words targets() {
    Words names = {"ovo::common"};
    for (const char* directory : {"src", "platform"})
        for (const auto& entry : fs::recursive_directory_iterator(TREE / directory))
            if (entry.path().filename() == "CMakeLists.txt") {
                const std::string text = contentOf(entry.path());
                for (const std::string& name : allOf(text, R"(ovo_module\(\w+ EXPORT_NAME (\w+))"))
                    names.insert("ovo::" + name);
                for (const std::string& name : allOf(text, R"(ovo_module\((linux_\w+))"))
                    names.insert("ovo::" + name);
            }
    return names;
}

} // namespace

TEST(Porting, NamesEveryInterface) {
    const std::string text = page();
    const fs::path interfaces = TREE / "platform/interfaces";
    Words headers;
    for (const auto& entry : fs::recursive_directory_iterator(interfaces))
        if (entry.path().extension() == ".h")
            headers.insert(entry.path().lexically_relative(interfaces).string());
    EXPECT_GT(headers.size(), 30U);
    for (const std::string& header : headers)
        EXPECT_THAT(text, HasSubstr("`" + header + "`"));
    for (const std::string& header : allOf(text, R"(\| `([a-z]+/\w+\.h)`)"))
        EXPECT_THAT(headers, Contains(header));
}

TEST(Porting, NamesEveryTargetAndNoOther) {
    const Words known = targets();
    EXPECT_GT(known.size(), 18U);
    const Words named = allOf(page(), R"((ovo::(?:daemon|core|interfaces|common|linux_\w+)))");
    for (const std::string& target : known)
        EXPECT_THAT(named, Contains(target)) << "not in docs/porting.md";
    for (const std::string& target : named)
        EXPECT_THAT(known, Contains(target)) << "docs/porting.md names it, nothing exports it";
}

TEST(Porting, NamesWhatIsThere) {
    const std::string text = page();
    for (const std::string& name :
         allOf(text, R"(`((?:scripts|packaging|src|platform)/[\w./-]+)`)"))
        EXPECT_TRUE(fs::exists(TREE / name)) << name;
    for (const std::string& link : allOf(text, R"(\]\((\.\./[^)#]+))"))
        EXPECT_TRUE(fs::exists(TREE / "docs" / link)) << link;
    const std::string schema = contentOf(TREE / "platform/linux/propertyapi/sqlite/Schema.cpp");
    const Words version = allOf(schema, R"re(VERSION = "(\d+)")re");
    ASSERT_EQ(version.size(), 1U);
    EXPECT_THAT(text, HasSubstr("inner tables it has (" + *version.begin() + " now)"));
}
