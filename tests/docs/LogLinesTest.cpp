// SPDX-License-Identifier: Apache-2.0
#include "LogLines.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// "LEVEL SOURCE LINE TEXT" of each.
std::vector<std::string> linesOf(const std::string& source) {
    std::vector<std::string> lines;
    for (const LogLine& line : logLinesOf("a/Sample.cpp", cppTokensOf(source)))
        lines.push_back(std::to_string(line.level) + " " + line.source + " " +
                        line.where.substr(line.where.find(':') + 1) + " " + line.text);
    return lines;
}

} // namespace

TEST(LogLines, ReadsTextsAndVariableParts) {
    EXPECT_THAT(linesOf("LOG(2) << \"Fixed\";\nLOG(3) << error.what();"),
                ElementsAre("2 Sample 1 Fixed", "3 Sample 2 …"));
    EXPECT_THAT(linesOf("LOG(2)\n << \"File \" << quote(path, \"=\") << size << \" of \"\n"
                        "   \"two \\\"lines\\\"\" << KEY;"),
                ElementsAre("2 Sample 1 File … of two \"lines\"…"));
    EXPECT_THAT(linesOf("LOG(3) << std::string(\"A \") + std::to_string(1'000 + 2) + \" b\";"),
                ElementsAre("3 Sample 1 A … b"));
    EXPECT_THAT(linesOf("LOG(2) << std::fixed << std::setprecision(1) << seconds << \" s\";"),
                ElementsAre("2 Sample 1 … s"));
    EXPECT_THAT(linesOf("LOG(2) << R\"(raw \"text\")\" << ';' << \"; end\";"),
                ElementsAre("2 Sample 1 raw \"text\"; end"));
}

TEST(LogLines, ReadsEachAlternative) {
    EXPECT_THAT(linesOf("LOG(2) << (isLast ? \"Last: \" : \"None: \") << reason;"),
                ElementsAre("2 Sample 1 Last: …", "2 Sample 1 None: …"));
    EXPECT_THAT(linesOf("LOG(2) << (a == B::c ? \"ends\" : \"not in \" + text(ms) + \" ms\");"),
                ElementsAre("2 Sample 1 ends", "2 Sample 1 not in … ms"));
    EXPECT_THAT(linesOf("LOG(2) << count << (why.empty() ? \"\" : \", because \") << why;"),
                ElementsAre("2 Sample 1 …, because …"));
    EXPECT_THAT(linesOf("LOG(2) << (x ? one() : two());"), ElementsAre("2 Sample 1 …"));
}

TEST(LogLines, ReadsLevels) {
    EXPECT_THAT(linesOf("LOG(1) << \"Progress\";"), IsEmpty());
    EXPECT_THAT(linesOf("LOG(isKnown ? 1 : 2) << \"Away\";"), ElementsAre("2 Sample 1 Away"));
    EXPECT_THAT(linesOf("LOG(chosen()) << \"Text\";"), ElementsAre("0 Sample 1 …"));
}

TEST(LogLines, ReadsNotes) {
    EXPECT_THAT(linesOf("LOG(note.level) << note.text;\n"
                        "notes.push_back({3, \"Refused \" + text(names[1])});\n"
                        "notes.push_back({2, \"Dropped\"});"),
                ElementsAre("3 Sample 2 Refused …", "2 Sample 3 Dropped"));
    EXPECT_THAT(linesOf("LOG(note.level) << note.text;"), ElementsAre("0 Sample 1 …"));
}

TEST(LogLines, AreNotInCommentsLiteralsAndDirectives) {
    EXPECT_THAT(linesOf("// LOG(2) << \"a\";\n/* LOG(2) << \"b\"; */\n"
                        "#define SAY(x) \\\n LOG(2) << x;\n"
                        "text = \"LOG(2) << c;\"; quote = '\"'; LOG(2) << \"d\";"),
                ElementsAre("2 Sample 5 d"));
}
