// Descriptors, room on the disk and file sizes that run out at every step, and come back.
#include "conversation.h"
#include "namespaces.h"
#include "tests/platform/itcSupport.h"
#include "tests/support/waitUntil.h"

#include <memory>
#include <string>
#include <tuple>

#include <gtest/gtest.h>
#include <sys/mount.h>

using namespace HostileTest;
using namespace ItcTest;

namespace {

/** How long a shortage is watched: long enough for some tries that fail. */
constexpr std::uint32_t aWhile = 20;

enum class When
{
    CLIENT_STARTS,
    SERVER_STARTS,
    SERVER_APPEARS
};

const char* nameOf(When when)
{
    switch (when) {
    case When::CLIENT_STARTS:
        return "WhenTheClientStarts";
    case When::SERVER_STARTS:
        return "WhenTheServerStarts";
    case When::SERVER_APPEARS:
        break;
    }
    return "WhenTheServerAppears";
}

class HostileDescriptors : public MailboxDirectory,
                           public testing::WithParamInterface<std::tuple<When, int>>
{
protected:
    /** Leaves the process few descriptors where it is the state's time. */
    static std::unique_ptr<Limit> shortageAt(When when)
    {
        return std::get<0>(GetParam()) == when
                   ? std::make_unique<Limit>(RLIMIT_NOFILE,
                                             firstFreeDescriptor() + static_cast<rlim_t>(free()))
                   : nullptr;
    }
    static int free() { return std::get<1>(GetParam()); }
    static bool is(When when) { return std::get<0>(GetParam()) == when; }

    static void beAClient(const Event& begun, const Event& serverBegun)
    {
        {
            const auto shortage = shortageAt(When::CLIENT_STARTS);
            beginClient();
            EXPECT_FALSE(receive(is(When::CLIENT_STARTS) ? aWhile : 0));
        }
        auto shortage = shortageAt(When::SERVER_APPEARS);
        begun.set();
        EXPECT_TRUE(serverBegun.wait());
        receive(aWhile, {0x7777});
        shortage.reset();
        finishClient();
    }
};

TEST_P(HostileDescriptors, AreWaitedFor)
{
    const Event begun;
    const Event serverBegun;
    Process client([&] { beAClient(begun, serverBegun); });
    ASSERT_TRUE(begun.wait());
    Process server([&] {
        {
            const auto shortage = shortageAt(When::SERVER_STARTS);
            open("server");
            EXPECT_FALSE(receive(is(When::SERVER_STARTS) ? aWhile : 0, {0x7777}));
            serverBegun.set();
        }
        const auto asked = receive(patience, {hello});
        ASSERT_TRUE(asked);
        send(asked->sender, written, 100'000);
    });
    EXPECT_EQ(0, server.wait());
    EXPECT_EQ(0, client.wait());
}

INSTANTIATE_TEST_SUITE_P(, HostileDescriptors,
                         testing::Combine(testing::Values(When::CLIENT_STARTS, When::SERVER_STARTS,
                                                          When::SERVER_APPEARS),
                                          testing::Range(0, 9)),
                         [](const auto& state) {
                             return std::to_string(std::get<1>(state.param)) + "AreFree" +
                                    nameOf(std::get<0>(state.param));
                         });

/** As many entries as that can be made in the directory. */
class HostileDisk : public MailboxDirectory, public testing::WithParamInterface<int>
{
};

TEST_P(HostileDisk, IsWaitedFor)
{
    inProcess([&] {
        if (!enterMountNamespace())
            return;
        const std::string full = "mode=0700,nr_inodes=" + std::to_string(1 + GetParam());
        ASSERT_EQ(0, ::mount("full", directory().c_str(), "tmpfs", 0, full.c_str()));
        const Event begun;
        Process client([&] {
            beginClient();
            receive(aWhile, {0x7777});
            begun.set();
            finishClient();
        });
        ASSERT_TRUE(begun.wait());
        Process server([&] {
            open("server");
            receive(aWhile, {0x7777});
            begun.set();
            const auto asked = receive(patience, {hello});
            ASSERT_TRUE(asked);
            send(asked->sender, written, 100'000);
        });
        ASSERT_TRUE(begun.wait());
        ASSERT_EQ(0, ::mount(nullptr, directory().c_str(), nullptr, MS_REMOUNT, "nr_inodes=1000"));
        EXPECT_EQ(0, server.wait());
        EXPECT_EQ(0, client.wait());
    });
}

INSTANTIATE_TEST_SUITE_P(, HostileDisk, testing::Range(0, 7), [](const auto& state) {
    return "HasRoomFor" + std::to_string(state.param) + "Entries";
});

class HostileFileSize : public MailboxDirectory,
                        public testing::WithParamInterface<std::tuple<rlim_t, bool>>
{
};

TEST_P(HostileFileSize, LosesNothing)
{
    const auto [size, atServer] = GetParam();
    const auto limit = [size = size] {
        const rlimit lowered{size, size};
        EXPECT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &lowered));
    };
    const Step nothing = [] {};
    converse(atServer ? nothing : Step(limit), atServer ? Step(limit) : nothing);
}

/** Many messages to one that reads, some of them longer than a connection holds. */
TEST_P(HostileFileSize, KeepsTheOrderOfManyMessages)
{
    const auto [size, large] = GetParam();
    constexpr std::uint32_t count = 300;
    const Event ready;
    Process receiver([&] {
        open("receiver");
        ready.set();
        for (std::uint32_t i = 1; i <= count; ++i)
            ASSERT_EQ(i, receiveNumber());
    });
    ASSERT_TRUE(ready.wait());
    inProcess([&, size = size, large = large] {
        open("sender");
        const std::uint32_t to = find("receiver");
        const rlimit lowered{size, size};
        ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &lowered));
        monitor(to, gone);
        for (std::uint32_t i = 1; i <= count; ++i)
            send(to, i, large ? 90'000 + i : 40);
        EXPECT_EQ(gone, receiveNumber());
    });
    EXPECT_EQ(0, receiver.wait());
}

INSTANTIATE_TEST_SUITE_P(, HostileFileSize,
                         testing::Combine(testing::Values(0, 1, 100, 4096, 200'000, 1 << 20),
                                          testing::Bool()),
                         [](const auto& state) {
                             return "Of" + std::to_string(std::get<0>(state.param)) +
                                    (std::get<1>(state.param) ? "AtTheServer" : "AtTheClient");
                         });

class HostileShortage : public MailboxDirectory
{
};

TEST_F(HostileShortage, NameThatIsTakenMeanwhileIsReportedAndTheMailboxEnds)
{
    const Event owed;
    const Event taken;
    Process late([&] {
        EXPECT_EQ(0, init());
        {
            const Limit none(RLIMIT_NOFILE, firstFreeDescriptor());
            EXPECT_NE(ITC_NO_MBOX_ID, create("name"));
        }
        owed.set();
        EXPECT_TRUE(taken.wait());
        testing::internal::CaptureStderr();
        EXPECT_EQ(nullptr, receiveRaw(ITC_NO_TMO));
        EXPECT_EQ("itc: mailbox \"name\" cannot be made: another live mailbox has the name\n",
                  testing::internal::GetCapturedStderr());
        EXPECT_NE(ITC_NO_MBOX_ID, create("another name"));
    });
    ASSERT_TRUE(owed.wait());
    const Process holder([&] {
        open("name");
        taken.set();
        receiveRaw();
    });
    EXPECT_EQ(0, late.wait());
}

TEST_F(HostileShortage, LocateThatIsPendingKeepsItsOneEntry)
{
    inProcess([&] {
        open("client");
        locate("server", located);
        const std::size_t before = entries();
        {
            const Limit none(RLIMIT_NOFILE, firstFreeDescriptor());
            monitor(1, gone);
        }
        EXPECT_EQ(gone, receiveNumber());
        EXPECT_EQ(before, entries());
    });
}

} // namespace
