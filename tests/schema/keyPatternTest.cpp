#include "schema/keyPattern.h"

#include <stdexcept>

#include <gtest/gtest.h>

namespace Varnix::Schema {
namespace {

TEST(KeyPattern, AWildcardMatchesNoSlash)
{
    EXPECT_TRUE(KeyPattern("/a/*/b").matches("/a/1/b"));
    EXPECT_FALSE(KeyPattern("/a/*/b").matches("/a/1/2/b"));
    EXPECT_FALSE(KeyPattern("/a?b").matches("/a/b"));
    EXPECT_TRUE(KeyPattern("/a[0-9]").matches("/a7"));
    EXPECT_FALSE(KeyPattern("/a[!0-9]").matches("/a7"));
}

TEST(KeyPattern, ABackslashTakesAWildcardsMeaning)
{
    const KeyPattern pattern(R"(/a\*)");
    EXPECT_TRUE(pattern.isLiteral());
    EXPECT_TRUE(pattern.matches("/a*"));
    EXPECT_FALSE(pattern.matches("/ab"));
}

TEST(KeyPattern, OverlapsWhereOneKeyMatchesBoth)
{
    const auto overlap = [](const char* a, const char* b) {
        EXPECT_EQ(KeyPattern(a).overlaps(KeyPattern(b)), KeyPattern(b).overlaps(KeyPattern(a)));
        return KeyPattern(a).overlaps(KeyPattern(b));
    };
    EXPECT_TRUE(overlap("/a", "/a"));
    EXPECT_FALSE(overlap("/a", "/ab"));
    EXPECT_TRUE(overlap("/a/*", "/*/b"));
    EXPECT_TRUE(overlap("/*a", "/b*"));
    EXPECT_FALSE(overlap("/a*", "/b*"));
    EXPECT_FALSE(overlap("/*", "/*/*"));
    EXPECT_TRUE(overlap("/[a-m]*", "/?z"));
    EXPECT_FALSE(overlap("/[a-m]", "/[n-z]"));
    EXPECT_TRUE(overlap("/*x*", "/*y*"));
    EXPECT_TRUE(overlap("/a*", "/a"));
}

TEST(KeyPattern, MatchesNoKeyThatIsTooLong)
{
    EXPECT_TRUE(KeyPattern("/*").matches("/" + std::string(4095, 'a')));
    EXPECT_FALSE(KeyPattern("/*").matches("/" + std::string(4096, 'a')));
}

TEST(KeyPattern, RefusesWhatItDoesNotUnderstand)
{
    for (const char* text : {"", "/", "a", "/[", "/[a/b]", "/[[:digit:]]", "/[z-a]", "/a\\"})
        EXPECT_THROW(KeyPattern{text}, std::invalid_argument) << text;
    EXPECT_NO_THROW(KeyPattern("/" + std::string(254, 'a')));
    EXPECT_THROW(KeyPattern("/" + std::string(255, 'a')), std::invalid_argument);
}

} // namespace
} // namespace Varnix::Schema
