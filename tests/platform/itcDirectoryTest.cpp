// The directory of the mailboxes: where it is, and what is refused in its place.
#include "itcSupport.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace ItcTest;
namespace fs = std::filesystem;

namespace {

/** The directory that the environment names. */
class ItcDirectory : public MailboxDirectory
{
protected:
    ItcDirectory() { ::unsetenv("VARNIX_ITC_DIR"); }

    static int quietInit()
    {
        testing::internal::CaptureStderr();
        const int result = init();
        m_report = testing::internal::GetCapturedStderr();
        return result;
    }

    static void expectRefused(const fs::path& path, const std::string& reason)
    {
        inProcess([&] {
            ::setenv("VARNIX_ITC_DIR", path.c_str(), 1);
            const int result = quietInit();
            EXPECT_LT(result, 0);
            EXPECT_NE(ITC_ALREADY_INITIALISED, result);
            EXPECT_NE(std::string::npos, m_report.find("cannot use the mailbox directory " +
                                                       path.native() + ": " + reason + "\n"))
                << m_report;
        });
    }

    static constexpr const char* notOwn = "it must belong to the user, with mode 0700";
    static inline std::string m_report;
};

TEST_F(ItcDirectory, ItIsMadeForItsUserAlone)
{
    const fs::path made = directory() / "made";
    inProcess([&] {
        ::setenv("VARNIX_ITC_DIR", made.c_str(), 1);
        ::umask(0);
        open("mine");
        EXPECT_EQ(fs::perms::owner_all, fs::status(made).permissions());
    });
}

TEST_F(ItcDirectory, ItsUserReachesEverythingInItWhateverTheUmask)
{
    const fs::path made = directory() / "made";
    inProcess([&] {
        ::setenv("VARNIX_ITC_DIR", made.c_str(), 1);
        ::umask(0777);
        open("mine");
        locate("nobody", 7);
        EXPECT_EQ(fs::perms::owner_all, fs::status(made).permissions());
        std::string sockets;
        for (const fs::directory_entry& entry : fs::directory_iterator(made))
            if (entry.symlink_status().type() == fs::file_type::socket) {
                sockets += entry.path().filename().native().front();
                EXPECT_EQ(fs::perms::owner_all, entry.status().permissions()) << entry.path();
            }
        std::sort(sockets.begin(), sockets.end());
        EXPECT_EQ("mw", sockets) << "a mailbox, and one who waits for another";
    });
}

TEST_F(ItcDirectory, TheRuntimeDirectoryComesNext)
{
    inProcess([&] {
        ::setenv("VARNIX_ITC_DIR", "", 1);
        ::setenv("XDG_RUNTIME_DIR", directory().c_str(), 1);
        ::setenv("TMPDIR", "/nowhere", 1);
        open("mine");
        EXPECT_TRUE(fs::is_symlink(directory() / "varnix-itc" / "n-mine"));
    });
}

TEST_F(ItcDirectory, TheTemporaryDirectoryComesLast)
{
    inProcess([&] {
        ::unsetenv("XDG_RUNTIME_DIR");
        ::setenv("TMPDIR", directory().c_str(), 1);
        open("mine");
        EXPECT_TRUE(
            fs::is_symlink(directory() / ("varnix-itc-" + std::to_string(::geteuid())) / "n-mine"));
    });
}

TEST_F(ItcDirectory, ItsPathMayBeLong)
{
    const fs::path deep = directory() / std::string(200, 'x') / std::string(200, 'y');
    fs::create_directories(deep);
    fs::permissions(deep, fs::perms::owner_all);
    inProcess([&] {
        ::setenv("VARNIX_ITC_DIR", deep.c_str(), 1);
        const std::uint32_t mine = open("mine");
        Process sender([] {
            open("sender");
            send(find("mine"), 1);
        });
        EXPECT_EQ(1U, receiveNumber());
        EXPECT_EQ(0, sender.wait());
        EXPECT_EQ(mine, find("mine"));
    });
}

TEST_F(ItcDirectory, ADirectoryOpenToOthersIsRefused)
{
    for (const fs::perms others : {fs::perms::group_read, fs::perms::others_exec}) {
        fs::permissions(directory(), fs::perms::owner_all | others);
        expectRefused(directory(), notOwn);
    }
}

TEST_F(ItcDirectory, ADirectoryOfAnotherUserIsRefused)
{
    const fs::path another = ::geteuid() == 0 ? directory() : fs::path("/proc/1/task");
    ASSERT_TRUE(::geteuid() != 0 || ::chown(another.c_str(), 65534, 65534) == 0);
    expectRefused(another, notOwn);
}

TEST_F(ItcDirectory, ALinkIsNotFollowed)
{
    const fs::path target = directory() / "target";
    fs::create_directory(target);
    fs::permissions(target, fs::perms::owner_all);
    fs::create_directory_symlink(target, directory() / "link");
    expectRefused(directory() / "link", "Not a directory");
}

TEST_F(ItcDirectory, WhatIsNoDirectoryIsRefused)
{
    std::ofstream(directory() / "file") << "text";
    expectRefused(directory() / "file", "Not a directory");
    expectRefused(directory() / "missing" / "directory", "No such file or directory");
}

TEST_F(ItcDirectory, OnlyASocketThatMayStillBeMadeIsLeftWhereNobodyIsBehindIt)
{
    ::setenv("VARNIX_ITC_DIR", directory().c_str(), 1);
    for (const char* const entry : {"m-00000001", "w-00000001", "t-00000001"})
        std::ofstream(directory() / entry) << "text";
    inProcess([] { init(); });
    EXPECT_FALSE(fs::exists(directory() / "m-00000001"));
    EXPECT_FALSE(fs::exists(directory() / "w-00000001"));
    EXPECT_TRUE(fs::exists(directory() / "t-00000001"));
}

TEST_F(ItcDirectory, AProcessMayTryAgain)
{
    inProcess([&] {
        ::setenv("VARNIX_ITC_DIR", "/nowhere/at/all", 1);
        EXPECT_LT(quietInit(), 0);
        EXPECT_EQ(ITC_NO_MBOX_ID, create("mine"));
        ::setenv("VARNIX_ITC_DIR", directory().c_str(), 1);
        EXPECT_EQ(0, init());
        EXPECT_NE(ITC_NO_MBOX_ID, create("mine"));
    });
}

TEST_F(ItcDirectory, MailboxesOfTwoDirectoriesDoNotMeet)
{
    const auto use = [this](const char* name) {
        const fs::path path = directory() / name;
        ::setenv("VARNIX_ITC_DIR", path.c_str(), 1);
    };
    const Event created;
    Process server([&] {
        use("first");
        open("server");
        created.set();
        EXPECT_EQ(1U, receiveNumber());
        EXPECT_FALSE(receive(0));
    });
    ASSERT_TRUE(created.wait());
    inProcess([&] {
        use("second");
        open("client");
        locate("server", 7);
        EXPECT_FALSE(receive(0));
        std::thread([] { open("server"); }).join();
    });
    inProcess([&] {
        use("first");
        open("client");
        send(find("server"), 1);
    });
    EXPECT_EQ(0, server.wait());
}

TEST_F(ItcDirectory, ADamagedLockFileIsNoObstacle)
{
    ::setenv("VARNIX_ITC_DIR", directory().c_str(), 1);
    for (const char* const content : {"", "zz", "ffffffff", "7fffffff", "not a number at all"}) {
        std::ofstream(directory() / "lock") << content;
        inProcess([&] {
            const std::uint32_t mine = open("mine");
            EXPECT_GT(mine, 0U);
            EXPECT_LE(mine, 0x7FFFFFFFU);
        });
    }
}

TEST_F(ItcDirectory, IdsOfLiveMailboxesArePassedOver)
{
    ::setenv("VARNIX_ITC_DIR", directory().c_str(), 1);
    inProcess([&] {
        const std::uint32_t mine = open("mine");
        fs::remove(directory() / "lock");
        std::thread([&] { EXPECT_NE(mine, open("another")); }).join();
    });
}

} // namespace
