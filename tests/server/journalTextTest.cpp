#include "journalText.h"

#include "history.h"
#include "nearest.h"
#include "wordSplitter.h"

#include <array>
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace Dbcsi;

const ProcessInfo alice{{71, 940, 5}, "alice"};
const ProcessInfo bob{{75, 1020, 4294967295}, "a 'bob' to 2:"};

using Kind = JournalText::Comment::Kind;

TEST(JournalText, ACommentTellsWhoWasSentAWrite)
{
    const std::string line = JournalText::sending("some user", {alice, bob});
    const auto comment = JournalText::parse(line);
    ASSERT_TRUE(comment) << line;
    EXPECT_EQ(comment->kind, Kind::SENT);
    ASSERT_EQ(comment->processes.size(), 2u);
    EXPECT_EQ(comment->processes[0].id, alice.id);
    EXPECT_EQ(comment->processes[1].id, bob.id);
    EXPECT_EQ(comment->processes[1].command, bob.command);
}

TEST(JournalText, WhoCouldNotBeSentItIsLeftOut)
{
    const auto comment = JournalText::parse(JournalText::sending("root", {alice, bob}) +
                                            JournalText::except({alice.id}));
    ASSERT_TRUE(comment);
    ASSERT_EQ(comment->processes.size(), 1u);
    EXPECT_EQ(comment->processes[0].id, bob.id);
    const auto toNobody = JournalText::parse(JournalText::sending("root", {alice, bob}) +
                                             JournalText::except({alice.id, bob.id}));
    ASSERT_TRUE(toNobody);
    EXPECT_TRUE(toNobody->processes.empty());
}

TEST(JournalText, AReplayTellsHowManyWritesWereSent)
{
    const std::string line = JournalText::replaying("root", bob, 16);
    EXPECT_EQ(JournalText::parse(line)->count, 16u);
    EXPECT_EQ(JournalText::parse(line)->processes[0].id, bob.id);
    EXPECT_EQ(JournalText::parse(line)->processes[0].command, bob.command);
    EXPECT_EQ(JournalText::parse(line + JournalText::only(3))->count, 3u);
}

TEST(JournalText, AProcessMayBeNamedWithoutItsMailbox)
{
    const auto sent = JournalText::parse("# t u to 2: 71@940 alice 75@1020/7 bob except 71@940");
    ASSERT_TRUE(sent);
    ASSERT_EQ(sent->processes.size(), 1u);
    EXPECT_EQ(sent->processes[0].id, (ProcessId{75, 1020, 7}));
    EXPECT_EQ(JournalText::parse("# t u replayed 1 to 71@940 alice")->processes[0].id,
              (ProcessId{71, 940, 0}));
}

TEST(JournalText, ABootIsNamed)
{
    EXPECT_EQ(JournalText::parse(JournalText::boot("4f6c"))->boot, "4f6c");
    EXPECT_EQ(JournalText::parse(JournalText::boot(""))->boot, "");
}

TEST(JournalText, ACommentThatIsCutOffBeforeItsLastProcessTellsNothing)
{
    const std::string whole = JournalText::sending("root", {alice, bob});
    const std::size_t last = whole.find("75@1020/4294967295");
    for (std::size_t size = 0; size <= last + std::string("75@1020/4294967295 ").size(); ++size)
        EXPECT_FALSE(JournalText::parse(whole.substr(0, size))) << whole.substr(0, size);
}

TEST(JournalText, OtherCommentsTellNothing)
{
    for (const char* line : {"",
                             "#",
                             "# ",
                             "# a note",
                             "#boot x",
                             "# boot",
                             "# boot a b",
                             "# t u to",
                             "# t u to 1",
                             "# t u to 1:",
                             "# t u to -1: 1@2 a",
                             "# t u to 1: 1 a",
                             "# t u to 1: 1@2",
                             "# t u to 1: x@2 a",
                             "# t u to 99999999999999999999: 1@2 a",
                             "# t u to 1: 1@2/ a",
                             "# t u to 1: 1@2/x a",
                             "# t u to 1: 1@2/-3 a",
                             "# t u to 1: 1@2/4294967296 a",
                             "# t u to 1: 1/2@3 a",
                             "# t u to 'x",
                             "# t u replayed 1",
                             "# t u replayed x to 1@2 a",
                             "# t u replayed 1 on 1@2 a",
                             "# t u replayed 1 to 1@2 a only x",
                             "db write /unit/gain 5"})
        EXPECT_FALSE(JournalText::parse(line)) << line;
}

TEST(QuoteWords, ALineIsSplitIntoTheSameWords)
{
    const std::vector<Words> all = {{"db", "write", "/unit/gain", "-i", "2", "7"},
                                    {"#", "b"},
                                    {"", "", "a b", "\t", "\r"},
                                    {"it's", "''", "\"", "\\", "\\'", "'"},
                                    {"\xC3\xA9", "\xFF", "$HOME", "`x`", "*"}};
    for (const Words& words : all) {
        const std::string line = quoteWords(words);
        EXPECT_EQ(std::get<Words>(splitWords(line)), words) << line;
        EXPECT_EQ(line.find('\n'), std::string::npos);
    }
    EXPECT_EQ(quoteWords({"db", "write", "/unit/gain", "-i", "2", "0x1F"}),
              "db write /unit/gain -i 2 0x1F");
}

class JournalHistory : public testing::Test
{
protected:
    void SetUp() override
    {
        for (int i = 0; i < 6; ++i)
            m_history.add({"db", "write", "/a", std::to_string(i)});
    }

    using Indices = std::vector<std::size_t>;
    Indices missing() const { return m_history.missing(alice.id); }

    History m_history;
};

TEST_F(JournalHistory, AProcessMissesWhatItHasNotHad)
{
    EXPECT_EQ(missing(), (Indices{0, 1, 2, 3, 4, 5}));
    // In an order that grows ranges at either end, begins new ones and joins them.
    m_history.had(alice.id, 3);
    EXPECT_EQ(missing(), (Indices{0, 1, 2, 4, 5}));
    m_history.had(alice.id, 5);
    m_history.had(alice.id, 1);
    EXPECT_EQ(missing(), (Indices{0, 2, 4}));
    m_history.had(alice.id, 2);
    EXPECT_EQ(missing(), (Indices{0, 4}));
    m_history.had(alice.id, 2);
    EXPECT_EQ(missing(), (Indices{0, 4}));
    m_history.had(alice.id, 4);
    EXPECT_EQ(missing(), (Indices{0}));
    m_history.had(alice.id, 0);
    EXPECT_EQ(missing(), Indices{});
    m_history.add({"db", "write", "/a", "6"});
    EXPECT_EQ(missing(), (Indices{6}));
}

TEST_F(JournalHistory, TheFirstOfTheMissingAreHadInTheirOrder)
{
    m_history.had(alice.id, 1);
    m_history.hadFirstMissing(alice.id, 3);
    EXPECT_EQ(missing(), (Indices{4, 5}));
    m_history.hadFirstMissing(alice.id, 100);
    EXPECT_EQ(missing(), Indices{});
}

TEST_F(JournalHistory, AProcessIsItsIdItsStartTimeAndItsMailbox)
{
    m_history.had(alice.id, 0);
    const auto [process, startTime, mailbox] = alice.id;
    EXPECT_EQ(m_history.missing({process, startTime + 1, mailbox}).size(), 6u);
    EXPECT_EQ(m_history.missing({process + 1, startTime, mailbox}).size(), 6u);
    EXPECT_EQ(m_history.missing({process, startTime, mailbox + 1}).size(), 6u);
}

TEST_F(JournalHistory, NothingIsKeptOfAProcessWhoseIdOrStartTimeIsNotKnown)
{
    for (const ProcessId& unknown : {ProcessId{71, 0, 5}, ProcessId{0, 940, 5}}) {
        m_history.had(unknown, 0);
        EXPECT_EQ(m_history.missing(unknown).size(), 6u);
    }
    const ProcessId first{1, 1, 5};
    m_history.had(first, 0);
    EXPECT_EQ(m_history.missing(first).size(), 5u);
}

TEST_F(JournalHistory, WhatAProcessHadThroughAMailboxThatIsNotNamedItHasHad)
{
    const ProcessId unnamed{alice.id.process, alice.id.startTime, 0};
    m_history.had(unnamed, 1);
    EXPECT_EQ(missing(), (Indices{0, 2, 3, 4, 5}));
    m_history.had(alice.id, 3);
    m_history.had(unnamed, 4);
    EXPECT_EQ(missing(), (Indices{0, 2, 5}));
    m_history.hadFirstMissing(alice.id, 2);
    EXPECT_EQ(missing(), (Indices{5}));
    EXPECT_EQ(m_history.missing(unnamed), (Indices{0, 2, 3, 5}));
}

TEST_F(JournalHistory, AfterABootNoProcessHasHadAnything)
{
    m_history.had(alice.id, 0);
    m_history.forgetProcesses();
    EXPECT_EQ(missing().size(), 6u);
}

TEST(NearestWord, ADistanceCountsEachKindOfMistakeOnce)
{
    EXPECT_EQ(Nearest::distance("status", "status"), 0u);
    EXPECT_EQ(Nearest::distance("statu", "status"), 1u);
    EXPECT_EQ(Nearest::distance("statuss", "status"), 1u);
    EXPECT_EQ(Nearest::distance("stadus", "status"), 1u);
    EXPECT_EQ(Nearest::distance("stauts", "status"), 1u);
    EXPECT_EQ(Nearest::distance("", "status"), 6u);
    EXPECT_EQ(Nearest::distance("wait", "quit"), 2u);
}

TEST(NearestWord, TheFirstOfTheNearestIsTheCandidate)
{
    const std::array<std::string_view, 3> candidates = {"/unit/gain", "/unit/main", "/a"};
    EXPECT_EQ(Nearest::candidate("/unit/gian", candidates), "/unit/gain");
    EXPECT_EQ(Nearest::candidate("/unit/lain", candidates), "/unit/gain");
    EXPECT_EQ(Nearest::candidate("x", std::array<std::string_view, 0>{}), "");
}

} // namespace
