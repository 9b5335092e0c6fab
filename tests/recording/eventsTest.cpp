#include "recording/events.h"

#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace Varnix::Recording {
namespace {

using testing::UnorderedElementsAreArray;

/** What the page shows for what varies: the name in capitals without its braces. */
std::string withoutBraces(std::string_view text)
{
    return std::regex_replace(std::string(text), std::regex(R"(\{([A-Z]+)\})"), "$1");
}

std::string rowFor(const EventText& entry)
{
    std::string row = "| " + std::string(entry.event) + " | `" + withoutBraces(entry.text) + "` | ";
    if (!entry.meaning.empty())
        row.append(entry.meaning).append(" | ");
    return row + (entry.advice.empty() ? "–" : withoutBraces(entry.advice)) + " |";
}

TEST(EventTexts, AreTheRowsOfThePage)
{
    std::vector<std::string> expected;
    for (const EventText& entry : eventTexts())
        expected.push_back(rowFor(entry));

    std::vector<std::string> rows;
    std::ifstream page(TRACE_EVENTS_PAGE);
    for (std::string line; std::getline(page, line);)
        if (std::regex_search(line, std::regex(R"(^\| (ERROR|INFO|TRACE1) \| )")))
            rows.push_back(line);
    EXPECT_THAT(rows, UnorderedElementsAreArray(expected));
}

TEST(EventTexts, AreFoundByTheirOwnText)
{
    for (const EventText& entry : eventTexts()) {
        const EventText* const found = findEventText(entry.event, withoutBraces(entry.text));
        ASSERT_NE(found, nullptr) << entry.text;
        EXPECT_EQ(found->text, entry.text);
    }
}

TEST(EventTexts, AdviceNamesWhatTheMessageNames)
{
    EXPECT_EQ(adviceFor("INFO", "ABN: Error loading db image from file /data/unit 1.db"),
              "`varnix check /data/unit 1.db`; copy it again");
    EXPECT_EQ(adviceFor("INFO", "ABN: a is not a DB file is not a DB file, will not read it"),
              "`varnix check a is not a DB file`");
    EXPECT_EQ(adviceFor("ERROR", "Failed to load and parse file: {PATH}"), "`varnix check {PATH}`");
}

TEST(EventTexts, OfTheServerAreFoundWithTheirLineFeed)
{
    EXPECT_EQ(adviceFor("ERROR", "\nDBCSI_DBWRITE_IND with invalid index: x"),
              "give `-i` a number");
}

TEST(EventTexts, ThatSayNothingIsWrongHaveNoAdvice)
{
    EXPECT_EQ(adviceFor("INFO", "Size of Db: 42"), "");
    EXPECT_EQ(adviceFor("TRACE1", "updateDbs, key: /a, append:0, value: x"), "");
}

TEST(EventTexts, ThatFitSeveralEntriesAreTheOneThatSaysMost)
{
    EXPECT_EQ(findEventText("ERROR", "Can not update  key with datatype: U8 with the string "
                                     "Can not update a key with datatype: U8")
                  ->advice,
              "write numbers");
}

TEST(EventTexts, ThatTheLibraryDoesNotHaveAreUnknown)
{
    for (const char* const message :
         {"", "\n", "Size of Db", "size of Db: 42", "No value has been given. Really", "{", "}"}) {
        EXPECT_EQ(findEventText("INFO", message), nullptr) << message;
        EXPECT_EQ(adviceFor("ERROR", message), "") << message;
    }
    EXPECT_EQ(findEventText("ERROR", "Size of Db: 42"), nullptr) << "it is an INFO";
}

} // namespace
} // namespace Varnix::Recording
