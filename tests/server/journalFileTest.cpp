#include "journalFile.h"

#include "journal.h"
#include "tests/support/dbBuilder.h"
#include "tests/support/temporaryDirectory.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

using namespace Dbcsi;
using Varnix::Test::readFile;
using Varnix::Test::writeFile;

/** While it lives, no file of this process grows past a size. */
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t size)
    {
        EXPECT_EQ(::getrlimit(RLIMIT_FSIZE, &m_before), 0);
        const rlimit lowered{size, m_before.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &lowered), 0);
    }
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_before{};
    void (*m_handler)(int) = std::signal(SIGXFSZ, SIG_IGN);
};

class JournalFiles : public testing::Test
{
protected:
    std::string path() const { return m_directory / "journal"; }
    std::string content() const { return readFile(path()); }
    std::string tooLarge() const { return path() + ": cannot be written: File too large"; }

    void expectAppendFails(JournalFile& file, const std::string& text) const
    {
        try {
            file.append(text);
            ADD_FAILURE() << "was written";
        } catch (const JournalError& error) {
            EXPECT_EQ(error.what(), tooLarge());
        }
    }

private:
    const Varnix::Test::TemporaryDirectory m_directory;
};

TEST_F(JournalFiles, ANewOneIsItsOwnersAlone)
{
    const JournalFile file(path());
    EXPECT_EQ(std::filesystem::status(path()).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(JournalFiles, AnOpenLineIsEndedBeforeAnotherBegins)
{
    JournalFile file(path());
    file.append("one");
    file.append("two");
    file.endLine(" three");
    file.append("four\n");
    EXPECT_EQ(content(), "one\ntwo three\nfour\n");
}

TEST_F(JournalFiles, WhatCannotBeWrittenWholeLeavesThemAsTheyWere)
{
    const std::string line(4000, 'x');
    JournalFile file(path());
    file.append(line);
    {
        const FileSizeLimit limit(4096);
        expectAppendFails(file, std::string(100, 'y'));
    }
    EXPECT_EQ(content(), line);
    file.append("two\n");
    EXPECT_EQ(content(), line + "\ntwo\n");
}

TEST_F(JournalFiles, AnEndThatCannotBeWrittenIsSaidAndComesBeforeWhatIsAddedNext)
{
    const std::string line(4096, 'x');
    JournalFile file(path());
    file.append(line);
    testing::internal::CaptureStderr();
    {
        const FileSizeLimit limit(4096);
        file.endLine(" except 1");
        expectAppendFails(file, "two\n");
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "dbcsi-server: " + tooLarge() + '\n');
    EXPECT_EQ(content(), line);
    file.append("two\n");
    file.append("three\n");
    EXPECT_EQ(content(), line + " except 1\ntwo\nthree\n");
}

TEST_F(JournalFiles, AWriteThatIsNotSentAsItCannotBeWrittenIsNeitherInThemNorReplayed)
{
    Journal journal(path());
    const Words first = {"db", "write", "/a", "1"};
    journal.begin(first, {});
    journal.end({});
    const std::string before = content();
    {
        // There is room for its line, and none for whom it is sent to.
        const Words second = {"db", "write", "/a", "2"};
        const FileSizeLimit limit(before.size() + std::string("db write /a 2\n").size());
        EXPECT_THROW(journal.begin(second, {}), JournalError);
    }
    EXPECT_EQ(content(), before);
    EXPECT_EQ(journal.missing({71, 940, 5}), std::vector<Words>{first});
}

TEST_F(JournalFiles, APipeThatNobodyReadsFailsInTheEnd)
{
    ASSERT_EQ(::mkfifo(path().c_str(), 0600), 0);
    JournalFile file(path());
    const std::string line(1000, 'x');
    EXPECT_THROW(
        {
            for (int i = 0; i < 10000; ++i)
                file.append(line);
        },
        JournalError);
}

TEST_F(JournalFiles, OneThatShrinksIsReadAsFarAsItGoes)
{
    writeFile(path(), "one\ntwo\n");
    const JournalFile file(path());
    EXPECT_EQ(file.content(), "one\ntwo\n");
    std::filesystem::resize_file(path(), 4);
    errno = EINTR; // as a call before may leave it
    EXPECT_EQ(file.content(), "one\n");
}

} // namespace
