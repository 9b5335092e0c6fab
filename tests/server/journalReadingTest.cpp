#include "journal.h"
#include "tests/support/dbBuilder.h"
#include "tests/support/temporaryDirectory.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace Dbcsi;
using Varnix::Test::readFile;
using Varnix::Test::writeFile;

const ProcessInfo alice{{71, 940, 5}, "alice"};
const ProcessInfo bob{{75, 1020, 6}, "bob"};

using Texts = std::vector<std::string>;

/** The journal of a server that starts, on a host that is up since the comment `boot`. */
class JournalReading : public testing::Test
{
protected:
    std::string path() const { return m_directory / "journal"; }
    std::string content() const { return readFile(path()); }

    /** The last words of the writes that a process has not had, by a journal of that text. */
    Texts missing(const ProcessInfo& process, const std::string& text)
    {
        writeFile(path(), text);
        return missing(process);
    }
    Texts missing(const ProcessInfo& process)
    {
        testing::internal::CaptureStderr();
        const Journal journal(path());
        m_warnings = testing::internal::GetCapturedStderr();
        return missing(process, journal);
    }
    static Texts missing(const ProcessInfo& process, const Journal& journal)
    {
        Texts values;
        for (const Words& words : journal.missing(process.id))
            values.push_back(words.back());
        return values;
    }

    const std::string boot = JournalText::boot(bootId()) + '\n';
    std::string m_warnings;

private:
    const Varnix::Test::TemporaryDirectory m_directory;
};

const std::string one = "db write /a 1\n";
const std::string two = "db write /a 2\n";
const std::string sentToAlice = "# t u to 1: 71@940/5 alice\n";

TEST_F(JournalReading, AWriteHasAtLeastFourWordsAndFitsIntoAMessage)
{
    // 16 bytes lead the words, which end with a NUL each.
    const std::string longest((std::size_t{1} << 20) - 16 - 3 - 6 - 3 - 1, 'x');
    EXPECT_EQ(missing(alice, boot + one + "db write /a\n" + "db write /a " + longest + "\n" +
                                 "db write /a " + longest + "x\n" + two),
              (Texts{"1", longest, "2"}));
    const std::string warning =
        ":1: warning: a write has at least 4 words, and fits into a message; this is ignored\n";
    EXPECT_EQ(m_warnings, path() + ":3" + warning + path() + ":5" + warning);
}

TEST_F(JournalReading, ALineThatCannotBeSplitIsIgnoredWithItsPlaceAndReason)
{
    EXPECT_EQ(missing(alice, boot + "\ndb write /a 'x\n" + one), Texts{"1"});
    EXPECT_EQ(m_warnings, path() + ":3:13: warning: unterminated '; the line is ignored\n");
}

TEST_F(JournalReading, ACommentIsAboutTheWriteThatItFollows)
{
    EXPECT_EQ(missing(alice, boot + one + sentToAlice + two), Texts{"2"});
    EXPECT_EQ(missing(alice, boot + one + "'\n" + sentToAlice), Texts{"1"});
    EXPECT_EQ(missing(alice, boot + one + "status\n" + sentToAlice), Texts{"1"});
    EXPECT_EQ(missing(alice, boot + one + "# t u to 0:\n" + sentToAlice), Texts{"1"});
    EXPECT_EQ(missing(alice, boot + sentToAlice + one), Texts{"1"});
}

TEST_F(JournalReading, WhatWasSentBeforeAnotherBootCountsForNobody)
{
    EXPECT_EQ(missing(alice, boot + one + sentToAlice + boot + two), Texts{"2"});
    EXPECT_EQ(missing(alice, "# boot other\n" + one + sentToAlice + boot + two), (Texts{"1", "2"}));
    EXPECT_EQ(missing(alice, boot + one + sentToAlice + "# boot other\n" + two), (Texts{"1", "2"}));
    EXPECT_EQ(missing(alice, one + sentToAlice), Texts{"1"});
}

TEST_F(JournalReading, AServerThatEndedWhileItReplayedNamesWhoMayHaveMissedWrites)
{
    EXPECT_EQ(
        missing(alice, boot + one + two + "db write /a 3\n# t u replayed 2 to 71@940/5 alice"),
        Texts{"3"});
    EXPECT_EQ(m_warnings, path() + ":5:1: warning: the server ended while it sent: process 71 "
                                   "(alice) may not have had its last 2 writes\n");
    EXPECT_TRUE(content().ends_with(" alice\n"));
    EXPECT_EQ(missing(alice), Texts{"3"});
    EXPECT_EQ(m_warnings, "");
}

TEST_F(JournalReading, AServerThatEndedWhileItSentNamesEveryoneItSentTo)
{
    EXPECT_EQ(missing(bob, boot + one + "# t u to 2: 71@940/5 alice 75@1020/6 bob"), Texts{});
    const auto warning = [&](const char* who) {
        return path() + ":3:1: warning: the server ended while it sent: process " + who +
               " may not have had the last write\n";
    };
    EXPECT_EQ(m_warnings, warning("71 (alice)") + warning("75 (bob)"));
}

TEST_F(JournalReading, AnIncompleteLastLineIsRemovedWhateverItWas)
{
    for (const char* last : {"db write /a 2", "# boot abc", "# t u to 2: 71@940/5 alice"}) {
        EXPECT_EQ(missing(alice, boot + one + last), Texts{"1"});
        EXPECT_EQ(m_warnings, path() + ":3:1: warning: an incomplete last line is ignored\n");
        EXPECT_EQ(content(), boot + one);
    }
}

TEST_F(JournalReading, TheNextServerReadsWhoCouldNotBeSentAWrite)
{
    {
        Journal journal(path());
        journal.begin({"db", "write", "/a", "1"}, {alice, bob});
        journal.end({alice.id});
        EXPECT_EQ(missing(alice, journal), Texts{"1"});
        EXPECT_EQ(missing(bob, journal), Texts{});
    }
    EXPECT_EQ(missing(alice), Texts{"1"});
    EXPECT_EQ(missing(bob), Texts{});
    EXPECT_TRUE(content().ends_with(" except 71@940/5\n")) << content();
}

TEST_F(JournalReading, TheNextServerReadsHowFarAReplayCame)
{
    writeFile(path(), boot + one + two + "db write /a 3\n");
    {
        Journal journal(path());
        journal.beginReplay(alice, 2);
        journal.endReplay(1);
        EXPECT_EQ(missing(alice, journal), (Texts{"2", "3"}));
        journal.beginReplay(bob, 3);
        journal.endReplay(3);
        EXPECT_EQ(missing(bob, journal), Texts{});
    }
    EXPECT_EQ(missing(alice), (Texts{"2", "3"}));
    EXPECT_EQ(missing(bob), Texts{});
    EXPECT_NE(content().find(" replayed 2 to 71@940/5 alice only 1\n"), std::string::npos);
    EXPECT_TRUE(content().ends_with(" replayed 3 to 75@1020/6 bob\n")) << content();
}

TEST_F(JournalReading, TheBootIsNamedOnceBeforeWhatComesFirst)
{
    const auto expectOneBoot = [this] {
        EXPECT_TRUE(content().starts_with(boot)) << content();
        EXPECT_EQ(content().find("# boot", 1), std::string::npos) << content();
    };
    {
        Journal journal(path());
        journal.beginReplay(alice, 0);
        journal.endReplay(0);
        expectOneBoot();
    }
    Journal journal(path());
    for (const char* value : {"1", "2"}) {
        journal.begin({"db", "write", "/a", value}, {});
        journal.end({});
    }
    expectOneBoot();
}

} // namespace
