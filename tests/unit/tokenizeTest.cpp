#include "dbUtils.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Varnix::Backend {
namespace {

using DBUtils::tokenize;

struct Split
{
    std::string text;
    std::string delimiters;
    std::vector<std::string> pieces;
};

TEST(Tokenize, GivesTheNonEmptyPiecesInOrder)
{
    const Split splits[] = {
        {"", " ", {}},
        {"   ", " ", {}},
        {"one", " ", {"one"}},
        {"  first   second  ", " ", {"first", "second"}},
        {"a, b,,c", " ,", {"a", "b", "c"}},
        {",a", ",", {"a"}},
        {"a,", ",", {"a"}},
        {"a b", "", {"a b"}},
        {"", "", {}},
        {"a\tb c", " ", {"a\tb", "c"}},
        {std::string("a\0b", 3), std::string("\0", 1), {"a", "b"}},
    };
    for (const auto& [text, delimiters, pieces] : splits)
        EXPECT_EQ(tokenize(text, delimiters), pieces) << '"' << text << '"';
}

} // namespace
} // namespace Varnix::Backend
