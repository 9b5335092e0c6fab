// Processes that give up the user, the group or the root that they began with.
#include "conversation.h"
#include "tests/platform/itcSupport.h"

#include <filesystem>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace HostileTest;
using namespace ItcTest;
namespace fs = std::filesystem;

namespace {

class HostileUser : public MailboxDirectory
{
protected:
    /** Creates the server's mailbox when the client has begun, and waits for the client's end. */
    static void serveNobody(const Event& begun, const Event& created, Process& client)
    {
        ASSERT_TRUE(begun.wait());
        Process server([&] {
            open("server");
            created.set();
            receiveRaw();
        });
        EXPECT_EQ(0, client.wait());
    }

    static void giveUpForAWhile(uid_t real, uid_t saved)
    {
        const Event begun;
        const Event created;
        Process client([&] {
            beginClient();
            EXPECT_EQ(0, ::setresuid(real, 65534, saved));
            begun.set();
            EXPECT_TRUE(created.wait());
            EXPECT_FALSE(receive(20));
            EXPECT_EQ(0, ::seteuid(0));
            finishClient();
        });
        ASSERT_TRUE(begun.wait());
        Process server([&] {
            open("server");
            created.set();
            const auto asked = receive(patience, {hello});
            ASSERT_TRUE(asked);
            send(asked->sender, written);
        });
        EXPECT_EQ(0, server.wait());
        EXPECT_EQ(0, client.wait());
    }

    /** What is reported where no mailbox can be reached, after a change of the root. */
    void changeRoot() const
    {
        const Event created;
        const Event begun;
        Process client([&] {
            const int report = ::memfd_create("report", MFD_CLOEXEC); // no file can be found later
            ::dup2(report, STDERR_FILENO);
            beginClient();
            EXPECT_EQ(0, ::chroot(directory().c_str()));
            begun.set();
            EXPECT_TRUE(created.wait());
            EXPECT_FALSE(receive(50));
            std::string text(1000, ' ');
            EXPECT_GT(::pread(report, text.data(), text.size(), 0), 0);
            EXPECT_NE(
                std::string::npos,
                text.find("no mailbox can be reached in " + directory().native() +
                          ": /proc is not mounted and the path is too long or leads elsewhere. "
                          "Mount /proc, or let VARNIX_ITC_DIR name the directory in at most 96 "
                          "bytes"))
                << text;
        });
        serveNobody(begun, created, client);
    }
};

TEST_F(HostileUser, AUserThatIsGivenUpIsReportedWhenAServerAppears)
{
    if (::geteuid() != 0)
        return; // nothing to give up
    const Event begun;
    const Event created;
    Process client([&] {
        beginClient();
        EXPECT_EQ(0, ::setresuid(65534, 65534, 65534));
        begun.set();
        EXPECT_TRUE(created.wait());
        testing::internal::CaptureStderr();
        EXPECT_FALSE(receive(50));
        const std::string report = testing::internal::GetCapturedStderr();
        EXPECT_NE(std::string::npos,
                  report.find("this process began as user 0 and is now user 65534: it finds no new "
                              "or restarted mailbox in " +
                              directory().native() +
                              " and gets no messages from one. Change the user before the first "
                              "use of mailboxes"))
            << report;
    });
    serveNobody(begun, created, client);
}

TEST_F(HostileUser, AUserThatIsGivenUpKeepsWhatIsConnected)
{
    if (::geteuid() != 0)
        return; // nothing to give up
    const Event dropped;
    Process server([&] {
        open("server");
        const auto asked = receive(patience, {hello});
        ASSERT_TRUE(asked);
        EXPECT_TRUE(dropped.wait());
        send(asked->sender, written);
    });
    Process client([&] {
        open("client");
        const std::uint32_t to = find("server");
        monitor(to, gone);
        send(to, hello);
        EXPECT_EQ(0, ::setresuid(65534, 65534, 65534));
        dropped.set();
        EXPECT_EQ(written, receiveNumber());
        EXPECT_EQ(gone, receiveNumber());
    });
    EXPECT_EQ(0, server.wait());
    EXPECT_EQ(0, client.wait());
}

TEST_F(HostileUser, AUserThatIsGivenUpReceivesWhileNobodyCanBeFound)
{
    if (::geteuid() != 0)
        return; // nothing to give up
    Process server([&] {
        open("server");
        for (int i = 0; i < 2; ++i) {
            const auto asked = receive(patience, {hello});
            ASSERT_TRUE(asked);
            send(asked->sender, written);
        }
    });
    inProcess([] {
        open("client");
        const std::uint32_t to = find("server");
        send(to, hello);
        EXPECT_EQ(written, receiveNumber());
        EXPECT_EQ(0, ::setresuid(65534, 65534, 65534));
        locate("another", located);
        send(to, hello);
        EXPECT_EQ(written, receiveNumber());
    });
    EXPECT_EQ(0, server.wait());
}

TEST_F(HostileUser, AUserThatIsGivenUpForAWhileIsWaitedFor)
{
    if (::geteuid() != 0)
        return; // nothing to give up
    // The real or the saved user is enough to return.
    for (const auto& [real, saved] : {std::pair<uid_t, uid_t>{0, 0}, {0, 65534}, {65534, 0}})
        giveUpForAWhile(real, saved);
}

TEST_F(HostileUser, AGroupThatIsGivenUpIsNoObstacle)
{
    if (::geteuid() != 0)
        return; // nothing to give up
    const Step giveUp = [] {
        init();
        EXPECT_EQ(0, ::setresgid(65534, 65534, 65534));
    };
    converse(giveUp, [] {});
}

TEST_F(HostileUser, AChangedRootWithoutProcIsNamed)
{
    if (::geteuid() == 0) // only root can
        changeRoot();
}

TEST_F(HostileUser, AChangedRootWithoutProcIsNamedWhereThePathLeadsElsewhere)
{
    if (::geteuid() != 0)
        return; // only root can
    fs::create_directories(directory() / directory().relative_path());
    changeRoot();
}

} // namespace
