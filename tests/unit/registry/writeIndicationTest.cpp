#include "writeIndication.h"

#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace Varnix::Backend;
using Words = std::vector<std::string>;

/** What a request asks for, as a text that a test can compare. */
struct Describe
{
    std::string operator()(const WriteIndication::SetText& request) const
    {
        return (request.append ? "append " : "set ") + request.key + " [" + request.value + "]";
    }
    std::string operator()(const WriteIndication::WriteList& request) const
    {
        std::string text = "list " + request.key + " @" + std::to_string(request.index);
        for (const std::string& value : request.values)
            text += " [" + value + "]";
        return text;
    }
    std::string operator()(const WriteIndication::Repeat& request) const
    {
        return "repeat " + request.key + " @" + std::to_string(request.index) + " x" +
               std::to_string(request.count) + " [" + request.value + "]";
    }
    std::string operator()(const WriteIndication::Rejected& request) const
    {
        return WriteIndication::describe(request);
    }
};

/** The request of an operator's words, of which the first two and the key are added here. */
std::string request(const Words& options)
{
    Words words = {"w0", "w1", "/unit/gain"};
    words.insert(words.end(), options.begin(), options.end());
    return std::visit(Describe(), WriteIndication::parse(words));
}

const std::string invalidIndex = "\nDBCSI_DBWRITE_IND with invalid index: ";
const std::string invalidCount = "\nDBCSI_DBWRITE_IND with invalid count: ";
const std::string invalidRepeat =
    "\nDBCSI_DBWRITE_IND with invalid number of arguments for repeat option.";

TEST(WriteIndication, FiveWordsWithMinusCSet)
{
    EXPECT_EQ(request({"-c", "17"}), "set /unit/gain [17]");
    EXPECT_EQ(request({"-c", "-r"}), "set /unit/gain [-r]");
    EXPECT_EQ(request({"-c", ""}), "set /unit/gain []");
}

TEST(WriteIndication, FiveWordsWithMinusAAppend)
{
    EXPECT_EQ(request({"-a", "abc"}), "append /unit/gain [abc]");
    EXPECT_EQ(request({"-a", "-c"}), "append /unit/gain [-c]");
}

TEST(WriteIndication, FourWordsAreAListOfOneValue)
{
    EXPECT_EQ(request({"5"}), "list /unit/gain @0 [5]");
    EXPECT_EQ(request({"-c"}), "list /unit/gain @0 [-c]");
    EXPECT_EQ(request({"-i"}), "list /unit/gain @0 [-i]");
    EXPECT_EQ(request({""}), "list /unit/gain @0 []");
}

TEST(WriteIndication, FiveWordsKnowNoOtherOption)
{
    EXPECT_EQ(request({"-i", "2"}), "list /unit/gain @0 [-i] [2]");
    EXPECT_EQ(request({"-r", "2"}), "list /unit/gain @0 [-r] [2]");
    EXPECT_EQ(request({"7", "8"}), "list /unit/gain @0 [7] [8]");
}

TEST(WriteIndication, SetAndAppendAreValuesInLongerIndications)
{
    EXPECT_EQ(request({"-c", "17", "18"}), "list /unit/gain @0 [-c] [17] [18]");
    EXPECT_EQ(request({"-a", "17", "18"}), "list /unit/gain @0 [-a] [17] [18]");
}

TEST(WriteIndication, IndexOptionPlacesAList)
{
    EXPECT_EQ(request({"-i", "2", "7", "8"}), "list /unit/gain @2 [7] [8]");
    EXPECT_EQ(request({"-i", "007", "1"}), "list /unit/gain @7 [1]");
    EXPECT_EQ(request({"-i", "2147483647", "1"}), "list /unit/gain @2147483647 [1]");
}

TEST(WriteIndication, RepeatOptionRepeatsOneValue)
{
    EXPECT_EQ(request({"-r", "4", "9"}), "repeat /unit/gain @0 x4 [9]");
    EXPECT_EQ(request({"-r", "4", "-i", "1", "9"}), "repeat /unit/gain @1 x4 [9]");
    EXPECT_EQ(request({"-i", "1", "-r", "4", "9"}), "repeat /unit/gain @1 x4 [9]");
    EXPECT_EQ(request({"-r", "1", "9"}), "repeat /unit/gain @0 x1 [9]");
    EXPECT_EQ(request({"-r", "2147483647", "9"}), "repeat /unit/gain @0 x2147483647 [9]");
}

TEST(WriteIndication, LaterOptionOverrides)
{
    EXPECT_EQ(request({"-i", "3", "-i", "4"}), "list /unit/gain @4");
    EXPECT_EQ(request({"-r", "3", "-r", "4", "-i", "1", "-i", "2", "9"}),
              "repeat /unit/gain @2 x4 [9]");
    EXPECT_EQ(request({"-r", "99999999", "-r", "2", "9"}), "repeat /unit/gain @0 x2 [9]");
}

TEST(WriteIndication, ValuesBeginAtTheFirstOtherWord)
{
    EXPECT_EQ(request({"-x", "1", "-i"}), "list /unit/gain @0 [-x] [1] [-i]");
    EXPECT_EQ(request({"-i", "1", "-x", "-i", "2"}), "list /unit/gain @1 [-x] [-i] [2]");
    EXPECT_EQ(request({"-i", "1", "", "2"}), "list /unit/gain @1 [] [2]");
}

TEST(WriteIndication, IndexIsDigitsThatAnIntHolds)
{
    for (const std::string word :
         {"x", "-1", "+1", "", " 1", "1 ", "0x1", "2147483648", "99999999999999999999999"})
        EXPECT_EQ(request({"-i", word, "7"}), invalidIndex + word);
}

TEST(WriteIndication, CountIsDigitsThatAnIntHolds)
{
    for (const std::string word : {"x", "-1", "+1", "", "2147483648"})
        EXPECT_EQ(request({"-r", word, "7"}), invalidCount + word);
}

TEST(WriteIndication, ZeroCountIsInvalidHoweverItIsWritten)
{
    EXPECT_EQ(request({"-r", "0", "7"}), invalidCount + "0");
    EXPECT_EQ(request({"-r", "00", "7"}), invalidCount + "0");
}

TEST(WriteIndication, FirstBadOptionDecides)
{
    EXPECT_EQ(request({"-r", "0", "-i", "x", "7"}), invalidCount + "0");
    EXPECT_EQ(request({"-i", "x", "-r", "0", "7"}), invalidIndex + "x");
    EXPECT_EQ(request({"-r", "99999999", "-i", "x", "7"}), invalidIndex + "x");
}

TEST(WriteIndication, RepeatTakesExactlyOneValue)
{
    EXPECT_EQ(request({"-r", "4", "9", "10"}), invalidRepeat);
    EXPECT_EQ(request({"-r", "1", "9", "10"}), invalidRepeat);
    EXPECT_EQ(request({"-r", "4", "-i", "1"}), invalidRepeat);
}

TEST(WriteIndication, MissingOptionValueIsAnEmptyOne)
{
    EXPECT_EQ(request({"-i", "3", "-i"}), invalidIndex);
    EXPECT_EQ(request({"-i", "3", "-r"}), invalidCount);
}

} // namespace
