// Processes that see other processes under other ids, or no /proc.
#include "conversation.h"
#include "namespaces.h"
#include "tests/platform/itcSupport.h"

#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace HostileTest;
using namespace ItcTest;
namespace fs = std::filesystem;

namespace {

class HostileNamespace : public MailboxDirectory
{
};

/** As process 1 of a namespace of its own, with or without a /proc of its own. */
void runAsFirst(bool withProc, const Step& step)
{
    inProcess([&] {
        if (!enterPidNamespace())
            return;
        inProcess([&] {
            EXPECT_EQ(1, ::getpid());
            if (!withProc || mountProc())
                step();
        });
    });
}

/** Two clients of the same process id, alive at the same time; each is to be served. */
void serveEqualIds(bool withProc)
{
    if (::geteuid() != 0)
        return; // two users' namespaces would be two users
    Process server([&] {
        open("server");
        const auto first = receive(patience, {hello});
        const auto second = receive(patience, {hello});
        ASSERT_TRUE(first && second);
        send(first->sender, written);
        send(second->sender, written);
    });
    const auto client = [&] {
        runAsFirst(withProc, [&] {
            open("dbSubscriber" + std::to_string(::getpid()));
            send(find("server"), hello);
            EXPECT_EQ(written, receiveNumber());
        });
    };
    Process first(client);
    Process second(client);
    EXPECT_EQ(0, first.wait());
    EXPECT_EQ(0, second.wait());
    EXPECT_EQ(0, server.wait());
}

TEST_F(HostileNamespace, EqualProcessIdsOfTwoNamespacesAreBothServed)
{
    serveEqualIds(false);
}

TEST_F(HostileNamespace, EqualProcessIdsWithTheirOwnProcAreBothServed)
{
    serveEqualIds(true);
}

TEST_F(HostileNamespace, ANameOfItsOwnIdIsRefusedTwiceInOneProcess)
{
    inProcess([] {
        const std::string name = "dbSubscriber" + std::to_string(::getpid());
        open(name);
        std::thread([&] { EXPECT_EQ(ITC_NO_MBOX_ID, create(name)); }).join();
    });
}

TEST_F(HostileNamespace, ANameWhoseNumberOnlyEndsWithTheOwnIdIsRefused)
{
    if (::geteuid() != 0)
        return; // two users' namespaces would be two users
    for (const std::string name : {"dbSubscriber91", "dbSubscriber01"}) {
        const Event made;
        const Process holder([&] {
            open(name);
            made.set();
            receiveRaw();
        });
        ASSERT_TRUE(made.wait());
        runAsFirst(false, [&] {
            EXPECT_EQ(0, init());
            EXPECT_EQ(ITC_NO_MBOX_ID, create(name));
        });
    }
}

TEST_F(HostileNamespace, AHiddenProcIsNoObstacleToAShortPath)
{
    const Step hide = [] { hideProc(); };
    converse(hide, hide);
    converse(hide, [] {});
    converse([] {}, hide);
}

TEST_F(HostileNamespace, AHiddenProcIsNamedWhereThePathIsLong)
{
    const fs::path deep = directory() / std::string(120, 'x');
    fs::create_directory(deep);
    fs::permissions(deep, fs::perms::owner_all);
    ::setenv("VARNIX_ITC_DIR", deep.c_str(), 1);
    inProcess([&] {
        if (hideProc())
            expectRefused("client", "/proc");
    });
}

TEST_F(HostileNamespace, AProcThatIsHiddenLaterTakesNobodysName)
{
    const Event created;
    const Event over;
    Process server([&] {
        open("server");
        created.set();
        EXPECT_TRUE(over.wait());
    });
    ASSERT_TRUE(created.wait());
    inProcess([] {
        init();
        if (hideProc()) {
            EXPECT_EQ(ITC_NO_MBOX_ID, create("server"));
            EXPECT_NE(ITC_NO_MBOX_ID, create("client"));
            EXPECT_NE(ITC_NO_MBOX_ID, find("server"));
        }
    });
    inProcess([] {
        open("client");
        find("server");
    });
    over.set();
    EXPECT_EQ(0, server.wait());
}

} // namespace
