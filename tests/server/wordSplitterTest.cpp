#include "wordSplitter.h"

#include <gtest/gtest.h>

namespace {

using namespace Dbcsi;
using namespace std::string_literals;

struct GoodLine
{
    std::string line;
    Words words;
};

class GoodLines : public testing::TestWithParam<GoodLine>
{
};

TEST_P(GoodLines, AreSplitAsAShellWould)
{
    const auto result = splitWords(GetParam().line);
    ASSERT_TRUE(std::holds_alternative<Words>(result)) << std::get<SplitError>(result).text;
    EXPECT_EQ(std::get<Words>(result), GetParam().words);
}

INSTANTIATE_TEST_SUITE_P(
    WordSplitter, GoodLines,
    testing::Values(GoodLine{"", {}}, GoodLine{" \t ", {}},
                    GoodLine{"db write /unit/gain -i 2 7 8",
                             {"db", "write", "/unit/gain", "-i", "2", "7", "8"}},
                    GoodLine{"  a \t b  ", {"a", "b"}}, GoodLine{"a\r", {"a"}},
                    // Quotes.
                    GoodLine{"'a b' \"c d\"", {"a b", "c d"}}, GoodLine{"''", {""}},
                    GoodLine{"a \"\" b", {"a", "", "b"}},
                    GoodLine{"a'b c'd\"e f\"g", {"ab cde fg"}},
                    GoodLine{R"("it's" 'say "hi"')", {"it's", "say \"hi\""}},
                    // Backslashes: outside quotes, within double quotes, within single quotes.
                    GoodLine{R"(a\ b \' \" \\)", {"a b", "'", "\"", "\\"}},
                    GoodLine{R"("\\")", {R"(\)"}}, GoodLine{R"("\" \\ \n \'")", {R"(" \ \n \')"}},
                    GoodLine{R"('\n\')", {R"(\n\)"}},
                    // Comments.
                    GoodLine{"# a comment 'of any kind", {}}, GoodLine{"  # so is this", {}},
                    GoodLine{"'#' a", {"#", "a"}}, GoodLine{"a # b", {"a", "#", "b"}},
                    // Bytes that are not ASCII are bytes like any other.
                    GoodLine{"\xC3\xA9 \xFF", {"\xC3\xA9", "\xFF"}}));

struct BadLine
{
    std::string line;
    SplitError error;
};

class BadLines : public testing::TestWithParam<BadLine>
{
};

TEST_P(BadLines, NameTheColumnAtFault)
{
    const auto result = splitWords(GetParam().line);
    ASSERT_TRUE(std::holds_alternative<SplitError>(result));
    EXPECT_EQ(std::get<SplitError>(result), GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    WordSplitter, BadLines,
    testing::Values(BadLine{"'", {1, "unterminated '"}},
                    BadLine{"db write /unit/label -c 'unit one", {25, "unterminated '"}},
                    BadLine{"a 'b' \"c", {7, "unterminated \""}},
                    BadLine{R"("\")", {1, "unterminated \""}},
                    BadLine{"a b\\", {4, "nothing follows the backslash"}},
                    BadLine{R"("a\)", {1, "unterminated \""}}, BadLine{"a\0b"s, {2, "NUL byte"}}));

} // namespace
