// SPDX-License-Identifier: Apache-2.0
// The manual pages that are written by hand, against the sources.
#include "CppTokens.h"
#include "JobHandlers/StepTypes.h"
#include "JobHandlers/XMLNodeType.h"
#include "Vocabulary.h"
#include "support/process/ChildProcess.h"
#include "xml/Xml.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

using Words = std::set<std::string>;

const std::filesystem::path TREE = SOURCE_TREE;
const std::string DAEMON = MAN_PAGES "/man8/ovo.8";
const std::string FILES = MAN_PAGES "/man5/ovo-provisioning.5";

std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path);
    EXPECT_TRUE(file) << "cannot read " << path;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/// The page with plain hyphens and backslashes and without changes of the font within a line.
std::string pageOf(const std::string& path) {
    std::string text = contentOf(path);
    for (const auto& [escape, plain] :
         std::map<std::string, std::string>{{"\\\\-", "-"}, {"\\\\e", "\\"}, {"\\\\f[BIR]", ""}})
        text = std::regex_replace(text, std::regex(escape), plain);
    return text;
}

/// One section of a page, from its heading to the next.
std::string sectionOf(const std::string& page, const std::string& title) {
    const std::size_t begin = page.find("\n.SH " + title + "\n");
    EXPECT_NE(begin, std::string::npos) << title;
    return page.substr(begin, page.find("\n.SH ", begin + 1) - begin);
}

Words allOf(const std::string& text, const std::regex& pattern) {
    Words words;
    for (auto match = std::sregex_iterator(text.begin(), text.end(), pattern);
         match != std::sregex_iterator(); ++match)
        words.insert(match->str(match->size() > 1 ? 1 : 0));
    return words;
}

/// String literals below a directory that match a pattern as a whole.
Words literalsIn(const char* directory, const std::regex& pattern) {
    Words words;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(TREE / directory))
        if (entry.path().extension() == ".cpp" || entry.path().extension() == ".h")
            for (const CppToken& token : cppTokensOf(contentOf(entry.path())))
                if (token.isLiteral && std::regex_match(token.text, pattern))
                    words.insert(token.text);
    return words;
}

/// The values that Directories.cpp gives its texts, each a sum of literals and earlier ones.
Words pathsOfTheCore() {
    static const std::regex DEFINITION("const std::string \\w+::(\\w+) = ([^;]+);");
    static const std::regex TERM("\"([^\"]*)\"|(?:\\w+::)?(\\w+)");
    const std::string source = contentOf(TREE / "src/Directories.cpp");
    std::map<std::string, std::string> values;
    Words paths;
    for (auto match = std::sregex_iterator(source.begin(), source.end(), DEFINITION);
         match != std::sregex_iterator(); ++match) {
        const std::string sum = match->str(2);
        std::string value;
        for (auto term = std::sregex_iterator(sum.begin(), sum.end(), TERM);
             term != std::sregex_iterator(); ++term)
            value += (*term)[1].matched ? term->str(1) : values.at(term->str(2));
        values[match->str(1)] = value;
        if (value.starts_with('/'))
            paths.insert(value);
    }
    return paths;
}

const std::regex& phonePath() {
    static const std::regex PATTERN("/(?:data|etc|config|var|usr|run/halden)(?:/[\\w.-]+)*/?");
    return PATTERN;
}

/// Every path of the phone that the daemon's sources name.
Words pathsOfThePhone() {
    Words paths = pathsOfTheCore();
    EXPECT_GT(paths.size(), 15U);
    paths.merge(literalsIn("platform/linux", phonePath()));
    paths.insert(std::string("/run/halden/") + ovo::bus::NAME + ".lock");
    paths.insert("/data/properties.db.corrupt");
    return paths;
}

Words elementsAndAttributes() {
    using namespace ovo::XMLParser;
    Words names = {GLOBAL_ATTR_MAC_ADDRESS_STR, FORCE_ACCEPT_STR};
    for (int type = GLOBAL_ATTR_VERSION; type <= CUSTOM_STEP_ATTR_TYPE; ++type)
        names.insert(getNodeTypeName(static_cast<XMLNodeType>(type)));
    names.erase("");
    names.insert(PRODUCTS.begin(), PRODUCTS.end());
    for (const ovo::steps::StepType& step : ovo::steps::ALL) {
        names.insert(step.name);
        if (step.optional != nullptr)
            names.insert(step.optional);
    }
    names.insert(ovo::steps::ATTR_URL);
    return names;
}

void expectKnown(const common::xml::Node& node, const Words& known) {
    EXPECT_THAT(known, Contains(node.tag()));
    for (const common::xml::Node::Attribute attribute : node.attrs())
        EXPECT_THAT(known, Contains(std::string(attribute.name))) << node.tag();
    for (const common::xml::Node child : node)
        expectKnown(child, known);
}

} // namespace

TEST(ManualPages, RenderWithoutWarnings) {
    for (const std::string& page : {DAEMON, FILES}) {
        const Finished rendered =
            run({"sh", "-c", "man --warnings -E UTF-8 -l " + page + " 2>&1 >/dev/null"},
                {{"MANROFFOPT", "-c"}});
        EXPECT_EQ(rendered.status, 0) << page;
        EXPECT_EQ(rendered.output, "") << page;
        const std::string text = contentOf(page);
        EXPECT_THAT(text, HasSubstr("\"ovo " OVO_VERSION "\""));
        EXPECT_THAT(allOf(text, std::regex("@\\w+@")), IsEmpty()) << page;
    }
}

TEST(ManualPages, TheDaemonsNamesEveryPathAndNoOther) {
    const std::string page = pageOf(DAEMON);
    const Words known = pathsOfThePhone();
    for (const std::string& path : known)
        EXPECT_THAT(page, HasSubstr(path)) << "not in ovo(8)";
    const Words named = allOf(sectionOf(page, "FILES"), phonePath());
    EXPECT_GT(named.size(), 20U);
    for (const std::string& path : named)
        EXPECT_THAT(known, Contains(path)) << "ovo(8) names it, the sources do not";
}

TEST(ManualPages, TheDaemonsNamesEveryVariableAndNoOther) {
    static const std::regex VARIABLE(
        "HALDEN_[A-Z]+|NOTIFY_SOCKET|WATCHDOG_[A-Z]+|JOURNAL_STREAM|[a-z]+_proxy|[A-Z]+_PROXY");
    const std::string section = sectionOf(pageOf(DAEMON), "ENVIRONMENT");
    const Words known = literalsIn("platform/linux", VARIABLE);
    EXPECT_GT(known.size(), 12U);
    EXPECT_EQ(allOf(section, VARIABLE), known);
}

TEST(ManualPages, TheDaemonsNamesEveryRequest) {
    const std::string page = pageOf(DAEMON);
    for (const char* request :
         {ovo::bus::requests::ARE_YOU_BUSY, ovo::bus::requests::ARE_YOU_READY_RESPONSE,
          ovo::bus::requests::HTTP_CREDENTIALS_ENTERED, ovo::bus::requests::START_PROVISIONING,
          ovo::keys::PROVISIONING, ovo::keys::PROVISIONING_SERVER, ovo::keys::SIP_NOTIFY_SERVER,
          ovo::keys::PROVISIONING_PERIOD, ovo::keys::FIRMWARE_TRIGGER_AUTO,
          ovo::values::REQUEST_CHECK_SYNC})
        EXPECT_THAT(page, HasSubstr(request));
}

TEST(ManualPages, TheOneOfFilesNamesEveryElementAndAttributeAndNoOther) {
    const std::string page = pageOf(FILES);
    const Words known = elementsAndAttributes();
    EXPECT_GT(known.size(), 20U);
    const std::string named = sectionOf(page, "ROOT ELEMENTS") + sectionOf(page, "ELEMENTS");
    for (const std::string& name : known)
        EXPECT_TRUE(std::regex_search(named, std::regex("\\b" + name + "\\b")))
            << name << " is not in ovo-provisioning(5)";
    // Words in bold, in both forms: ".B word" and ".BR word , further".
    static const std::regex BOLD(
        "\n\\.BR? ([^ \n]+)(?: \", \" ([^ \n]+))?(?: \" or \" ([^ \n]+))?");
    std::size_t count = 0;
    for (auto match = std::sregex_iterator(named.begin(), named.end(), BOLD);
         match != std::sregex_iterator(); ++match)
        for (std::size_t group = 1; group < match->size(); ++group)
            if ((*match)[group].matched) {
                ++count;
                EXPECT_THAT(known, Contains(match->str(group))) << "no file has it";
            }
    EXPECT_GT(count, 40U);
}

TEST(ManualPages, TheExamplesAreOfKnownElements) {
    const std::string section = sectionOf(pageOf(FILES), "EXAMPLES");
    const Words examples = allOf(section, std::regex("\n\\.nf\n([^]*?)\n\\.fi"));
    EXPECT_EQ(examples.size(), 4U);
    for (const std::string& example : examples)
        expectKnown(common::xml::parse(example).root(), elementsAndAttributes());
}
