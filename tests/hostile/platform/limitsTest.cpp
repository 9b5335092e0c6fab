// Limits of open files and of file sizes: what goes on under them, and what is said of them.
#include "conversation.h"
#include "itcHost.h"
#include "tests/platform/itcSupport.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace HostileTest;
using namespace ItcTest;
namespace fs = std::filesystem;

namespace {

/** How long a shortage is watched: long enough for some tries that fail. */
constexpr std::uint32_t aWhile = 20;

/** The limit of open files that leaves so many free. */
rlim_t limitLeaving(int free)
{
    rlim_t limit = 0;
    for (; free > 0; ++limit)
        free -= ::fcntl(static_cast<int>(limit), F_GETFD) < 0 ? 1 : 0;
    return limit;
}

int sendSized(std::uint32_t to, std::uint32_t number, std::size_t size)
{
    itc_msg* message = alloc(number, size);
    return __itc_host_send(&message, to, ITC_MY_MBOX_ID, "", 0);
}

std::uint64_t waitingFor(std::uint32_t mailbox)
{
    itc_host_peer peer{};
    return __itc_host_peer(mailbox, &peer, "", 0) == 1 ? peer.waiting : 0;
}

class HostileLimit : public MailboxDirectory
{
protected:
    /** Of two senders the first is met, and perhaps answered, before descriptors become few. */
    static void meetTwo(bool isAnswered, int needed)
    {
        const Event met;
        const Event sent;
        Process receiver([&] {
            open("receiver");
            const auto asked = receive(patience, {hello});
            ASSERT_TRUE(asked);
            if (isAnswered)
                send(asked->sender, written);
            met.set();
            EXPECT_TRUE(sent.wait());
            testing::internal::CaptureStderr();
            {
                const Limit tooFew(RLIMIT_NOFILE, limitLeaving(needed - 1));
                EXPECT_FALSE(receive(aWhile));
            }
            EXPECT_EQ(0U, testing::internal::GetCapturedStderr().find(
                              "itc: cannot take a connection: Too many open files; this is"));
            const Limit enough(RLIMIT_NOFILE, limitLeaving(needed));
            EXPECT_EQ(located, receiveNumber());
        });
        Process first([] {
            open("first");
            send(find("receiver"), hello);
            receive(patience, {gone});
        });
        ASSERT_TRUE(met.wait());
        inProcess([] {
            open("second");
            send(find("receiver"), located);
        });
        sent.set();
        EXPECT_EQ(0, receiver.wait());
    }
};

TEST_F(HostileLimit, AConnectionIsTakenWhereSevenDescriptorsAreFree)
{
    meetTwo(true, 7);
}

TEST_F(HostileLimit, AnEarlierOneThatHadNoAnswerNeedsTwoMore)
{
    meetTwo(false, 9);
}

TEST_F(HostileLimit, WhoIsConnectedIsHeardWhileNoConnectionCanBeTaken)
{
    const Event met;
    const Event sent;
    const Event isShort;
    Process receiver([&] {
        open("receiver");
        EXPECT_TRUE(receive(patience, {hello}));
        met.set();
        EXPECT_TRUE(sent.wait());
        {
            const Limit none(RLIMIT_NOFILE, 0);
            EXPECT_FALSE(receive(aWhile));
            isShort.set();
            EXPECT_EQ(written, receiveNumber());
        }
        EXPECT_EQ(located, receiveNumber());
    });
    Process first([&] {
        open("first");
        const std::uint32_t to = find("receiver");
        send(to, hello);
        EXPECT_TRUE(isShort.wait());
        send(to, written);
    });
    ASSERT_TRUE(met.wait());
    inProcess([] {
        open("second");
        send(find("receiver"), located);
    });
    sent.set();
    EXPECT_EQ(0, receiver.wait());
    EXPECT_EQ(0, first.wait());
}

TEST_F(HostileLimit, AConnectionThatIsDueIsTakenAtOnce)
{
    using Clock = std::chrono::steady_clock;
    const Event created;
    const Event sent;
    Process receiver([&] {
        open("receiver");
        created.set();
        EXPECT_TRUE(sent.wait());
        {
            const Limit none(RLIMIT_NOFILE, 0);
            EXPECT_FALSE(receive(0));
        }
        // Nobody receives until the next try is due.
        const auto due = Clock::now() + std::chrono::milliseconds(5);
        EXPECT_TRUE(Varnix::Test::waitUntil([&] { return Clock::now() > due; }));
        EXPECT_EQ(hello, receiveNumber());
        EXPECT_LT(Clock::now() - due, std::chrono::milliseconds(patience / 2));
    });
    ASSERT_TRUE(created.wait());
    inProcess([] {
        open("sender");
        send(find("receiver"), hello);
    });
    sent.set();
    EXPECT_EQ(0, receiver.wait());
}

TEST_F(HostileLimit, ALocateWaitsForItsMailboxToBeMade)
{
    inProcess([] {
        init();
        {
            const Limit none(RLIMIT_NOFILE, 0);
            EXPECT_NE(ITC_NO_MBOX_ID, create("mine"));
        }
        locate("server", located);
        std::thread server([] {
            open("server");
            receive();
        });
        const auto found = receive(patience, {located});
        EXPECT_TRUE(found);
        send(found ? found->sender : ITC_NO_MBOX_ID, hello);
        server.join();
    });
}

TEST_F(HostileLimit, AShortageThatComesBackIsReportedAgain)
{
    Process first([] { serveAs("first"); });
    Process second([] { serveAs("second"); });
    inProcess([] {
        open("mine");
        for (const char* const name : {"first", "second"}) {
            const std::uint32_t to = find(name);
            testing::internal::CaptureStderr();
            {
                const Limit none(RLIMIT_NOFILE, 0);
                send(to, hello);
            }
            const std::string report = testing::internal::GetCapturedStderr();
            EXPECT_NE(std::string::npos, report.find("cannot make a socket: Too many open files"))
                << name << ": " << report;
            EXPECT_EQ(written, receiveNumber());
        }
    });
    EXPECT_EQ(0, first.wait());
    EXPECT_EQ(0, second.wait());
}

TEST_F(HostileLimit, AProcessThatEndsInAShortageSaysHowManyMessagesAreLost)
{
    Process other([] {
        open("other");
        receiveRaw();
    });
    for (const std::uint32_t count : {0U, 1U, 3U}) {
        const int said = ::memfd_create("said", MFD_CLOEXEC);
        inProcess([&] {
            // What is registered before the library's first use is done after its end.
            std::atexit([] {
                rlimit limit{};
                ::getrlimit(RLIMIT_NOFILE, &limit);
                limit.rlim_cur = limit.rlim_max;
                ::setrlimit(RLIMIT_NOFILE, &limit);
            });
            open("sender");
            const std::uint32_t to = find("other");
            ::dup2(said, STDERR_FILENO);
            rlimit limit{};
            ::getrlimit(RLIMIT_NOFILE, &limit);
            limit.rlim_cur = 0;
            ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit));
            for (std::uint32_t i = 0; i < count; ++i)
                send(to, hello);
        });
        std::string text(1000, '\0');
        text.resize(static_cast<std::size_t>(::pread(said, text.data(), text.size(), 0)));
        ::close(said);
        const std::string lost =
            "itc: " + std::to_string(count) + (count == 1 ? " message is" : " messages are") +
            " lost: the process ends before what was short for sending is there\n";
        EXPECT_EQ(count != 0, text.ends_with(lost)) << text;
        EXPECT_EQ(count != 0, text.find("lost") != std::string::npos) << text;
    }
}

TEST_F(HostileLimit, AMailboxThatCannotBeReachedForGoodHasNoPeer)
{
    inProcess([this] {
        {
            const Limit none(RLIMIT_NOFILE, 0);
            EXPECT_EQ(0, init());
        }
        fs::permissions(directory(), fs::perms::all);
        testing::internal::CaptureStderr();
        itc_host_peer peer{};
        EXPECT_EQ(0, __itc_host_peer(1, &peer, "client.cpp", 7));
        EXPECT_EQ("client.cpp:7: itc: cannot use the mailbox directory " + directory().native() +
                      ": it must belong to the user, with mode 0700\n",
                  testing::internal::GetCapturedStderr());
    });
}

/** Less than the messages, which the connection itself carries then; a report has room. */
constexpr rlim_t fileSize = 1000;

TEST_F(HostileLimit, AMailboxThatGoesUnderAFileSizeLimitIsNoError)
{
    inProcess([] {
        Process other([] {
            open("other");
            while (receive()) {
            }
        });
        open("mine");
        const std::uint32_t to = find("other");
        const Limit limit(RLIMIT_FSIZE, fileSize);
        testing::internal::CaptureStderr();
        EXPECT_EQ(1, sendSized(to, hello, 2 * fileSize));
        other.kill();
        EXPECT_EQ(0, sendSized(to, hello, 2 * fileSize));
        EXPECT_EQ("", testing::internal::GetCapturedStderr());
    });
}

TEST_F(HostileLimit, AMessageThatGoesBeyondTheFileSizeLimitIsNotLost)
{
    inProcess([] {
        const std::uint32_t mine = open("mine");
        Process sender([&] {
            open("sender");
            EXPECT_EQ(1, sendSized(mine, 1, fileSize * 3 / 4));
            const Limit limit(RLIMIT_FSIZE, fileSize);
            for (const std::uint32_t number : {2U, 3U})
                EXPECT_EQ(1, sendSized(mine, number, fileSize * 3 / 4));
        });
        for (const std::uint32_t number : {1U, 2U, 3U})
            EXPECT_EQ(number, receiveNumber());
        EXPECT_EQ(0, sender.wait());
    });
}

TEST_F(HostileLimit, ASenderThatEndsUnderAFileSizeLimitLeavesNoDescriptor)
{
    inProcess([] {
        open("mine");
        const Event taken;
        const std::size_t before = openDescriptors();
        {
            Process sender([&] {
                open("sender");
                const std::uint32_t to = find("mine");
                const Limit limit(RLIMIT_FSIZE, fileSize);
                send(to, hello, 2 * fileSize);
                EXPECT_TRUE(taken.wait());
            });
            EXPECT_EQ(hello, receiveNumber());
            taken.set();
            EXPECT_EQ(0, sender.wait());
        }
        EXPECT_FALSE(receive(0));
        EXPECT_EQ(before, openDescriptors());
    });
}

TEST_F(HostileLimit, WhatAStoppedReceiverHasNoRoomForIsCountedAndSentWhenItGoesOn)
{
    constexpr std::uint32_t count = 12;
    constexpr std::size_t size = 1 << 20;
    inProcess([] {
        Process other([] {
            open("other");
            for (std::uint32_t i = 1; i <= count; ++i)
                ASSERT_EQ(i, receiveNumber());
            send(find("mine"), written);
        });
        open("mine");
        const std::uint32_t to = find("other");
        other.stop();
        {
            const Limit limit(RLIMIT_FSIZE, fileSize);
            testing::internal::CaptureStderr();
            for (std::uint32_t i = 1; i <= count; ++i) {
                EXPECT_EQ(1, sendSized(to, i, size));
                EXPECT_FALSE(receive(5));
                EXPECT_GE(waitingFor(to), i * size);
            }
            EXPECT_EQ("", testing::internal::GetCapturedStderr());
        }
        other.resume();
        EXPECT_EQ(written, receiveNumber());
        EXPECT_EQ(0, other.wait());
    });
}

} // namespace
