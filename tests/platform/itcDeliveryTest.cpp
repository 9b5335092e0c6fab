// Messages between mailboxes: their order, that none is lost, and that no sender waits.
#include "itcSupport.h"

#include <cstdlib>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

using namespace ItcTest;

namespace {

class ItcDelivery : public MailboxDirectory
{
};

/** The documented limit. */
constexpr std::size_t largest = 1 << 20;

/** Sends 1, 2, 3 ... `count` to the mailbox of that name. */
void sendCount(const std::string& name, std::uint32_t to, std::uint32_t count)
{
    open(name);
    for (std::uint32_t i = 1; i <= count; ++i)
        send(to, i);
}

/** Expects 1, 2, 3 ... `count` from each of several senders. */
void expectCounts(std::size_t senders, std::uint32_t count)
{
    std::map<std::uint32_t, std::uint32_t> last;
    for (std::size_t i = 0; i < senders * count; ++i) {
        const auto received = receive();
        ASSERT_TRUE(received) << "after " << i;
        ASSERT_EQ(++last[received->sender], received->number) << "from " << received->sender;
    }
    EXPECT_EQ(senders, last.size());
    EXPECT_FALSE(receive(0));
}

TEST_F(ItcDelivery, ManyProcessesSendToOneInOrderAndNoneIsLost)
{
    constexpr std::size_t senders = 4;
    constexpr std::uint32_t count = 20'000;
    Process receiver([] {
        open("receiver");
        expectCounts(senders, count);
    });
    std::vector<std::unique_ptr<Process>> processes;
    for (std::size_t i = 0; i < senders; ++i) {
        processes.push_back(std::make_unique<Process>([i] {
            open("sender" + std::to_string(i));
            const std::uint32_t to = find("receiver");
            for (std::uint32_t number = 1; number <= count; ++number)
                send(to, number);
        }));
    }
    for (const auto& process : processes)
        EXPECT_EQ(0, process->wait());
    EXPECT_EQ(0, receiver.wait());
}

TEST_F(ItcDelivery, ManyThreadsSendToOneInOrderAndNoneIsLost)
{
    inProcess([] {
        constexpr std::size_t senders = 4;
        constexpr std::uint32_t count = 5'000;
        const std::uint32_t mine = open("receiver");
        std::vector<std::thread> threads;
        for (std::size_t i = 0; i < senders; ++i)
            threads.emplace_back(
                [i, mine] { sendCount("sender" + std::to_string(i), mine, count); });
        expectCounts(senders, count);
        for (std::thread& thread : threads)
            thread.join();
    });
}

TEST_F(ItcDelivery, TenThousandMessagesToOneselfWaitForTheFirstReceive)
{
    inProcess([] {
        sendCount("mine", ITC_MY_MBOX_ID, 10'000);
        expectCounts(1, 10'000);
    });
}

TEST_F(ItcDelivery, WhatASenderSentJustBeforeItsEndArrives)
{
    inProcess([] {
        open("receiver");
        using Exit = void (*)(int);
        for (const Exit end : {Exit{std::exit}, Exit{::_exit}}) {
            Process sender([end] {
                open("sender");
                const std::uint32_t to = find("receiver");
                for (std::uint32_t i = 1; i <= 5'000; ++i)
                    send(to, i);
                end(0);
            });
            EXPECT_EQ(0, sender.wait());
            expectCounts(1, 5'000);
        }
    });
}

TEST_F(ItcDelivery, AStoppedReceiverHoldsUpNoSenderAndLosesNothing)
{
    constexpr std::uint32_t count = 20'000;
    const Event ready;
    Process receiver([&] {
        open("receiver");
        ready.set();
        expectCounts(1, count);
    });
    ASSERT_TRUE(ready.wait());
    receiver.stop();
    inProcess([] {
        open("sender");
        const std::uint32_t to = find("receiver");
        for (std::uint32_t i = 1; i <= count; ++i)
            send(to, i, 1000);
    });
    receiver.resume();
    EXPECT_EQ(0, receiver.wait());
}

TEST_F(ItcDelivery, AStoppedSenderHoldsUpNoOther)
{
    const Event sending;
    Process receiver([] {
        open("receiver");
        EXPECT_TRUE(receive(patience, {2}));
    });
    Process first([&] {
        open("first");
        const std::uint32_t to = find("receiver");
        send(to, 1);
        sending.set();
        receiveRaw();
    });
    ASSERT_TRUE(sending.wait());
    first.stop();
    inProcess([] {
        open("second");
        send(find("receiver"), 2);
    });
    EXPECT_EQ(0, receiver.wait());
}

TEST_F(ItcDelivery, AMessageArrivesAsItWas)
{
    Process receiver([] {
        open("receiver");
        for (const std::size_t size : {std::size_t{4}, std::size_t{5}, std::size_t{4096},
                                       std::size_t{300'000}, largest - 1, largest}) {
            itc_msg* message = receiveRaw();
            ASSERT_NE(nullptr, message);
            const auto* const bytes = reinterpret_cast<const unsigned char*>(message);
            for (std::size_t i = sizeof message->msgno; i < size; ++i)
                ASSERT_EQ(static_cast<unsigned char>(i * 7 + size), bytes[i])
                    << i << " of " << size;
            __itc_free(&message, __FILE__, __LINE__);
        }
    });
    inProcess([] {
        open("sender");
        const std::uint32_t to = find("receiver");
        for (const std::size_t size : {std::size_t{4}, std::size_t{5}, std::size_t{4096},
                                       std::size_t{300'000}, largest - 1, largest}) {
            itc_msg* message = alloc(1, size);
            auto* const bytes = reinterpret_cast<unsigned char*>(message);
            for (std::size_t i = sizeof message->msgno; i < size; ++i) {
                bytes[i] = static_cast<unsigned char>(i * 7 + size);
            }
            __itc_send(&message, to, ITC_MY_MBOX_ID, __FILE__, __LINE__);
        }
    });
    EXPECT_EQ(0, receiver.wait());
}

TEST_F(ItcDelivery, TheFixedFieldsOfAMessageThatIsTooShortForThemReadAsZero)
{
    inProcess([] {
        send(open("mine"), 1);
        itc_msg* message = receiveRaw();
        ASSERT_NE(nullptr, message);
        const auto* const fields = reinterpret_cast<const std::uint32_t*>(message);
        EXPECT_EQ((std::vector<std::uint32_t>{1, 0, 0, 0}),
                  std::vector<std::uint32_t>(fields, fields + 4));
        __itc_free(&message, __FILE__, __LINE__);
    });
}

TEST_F(ItcDelivery, AMessageBeyondTheLimitIsReportedAndDropped)
{
    inProcess([] {
        const std::uint32_t mine = open("mine");
        testing::internal::CaptureStderr();
        itc_msg* message = alloc(24146048, largest + 1);
        __itc_send(&message, mine, mine, "some/file.cpp", 42);
        EXPECT_EQ(nullptr, message);
        EXPECT_EQ("some/file.cpp:42: itc: message 24146048 of 1048577 bytes is dropped: the limit "
                  "is 1048576\n",
                  testing::internal::GetCapturedStderr());
        send(mine, 1);
        EXPECT_EQ(1U, receiveNumber(0));
    });
}

TEST_F(ItcDelivery, TheSenderIsWhateverMailboxTheSendNames)
{
    inProcess([] {
        const std::uint32_t mine = open("mine");
        std::thread([mine] {
            itc_msg* message = alloc(1);
            __itc_send(&message, mine, mine, __FILE__, __LINE__);
        }).join();
        EXPECT_EQ(mine, receive()->sender);
        std::thread([mine] { send(mine, 2); }).join();
        EXPECT_EQ(ITC_NO_MBOX_ID, receive()->sender) << "a thread without a mailbox";
    });
}

TEST_F(ItcDelivery, AMessageToAMailboxThatHasGoneIsFreed)
{
    inProcess([] {
        open("mine");
        std::uint32_t gone = 0;
        std::thread([&] { gone = open("gone"); }).join();
        testing::internal::CaptureStderr();
        send(gone, 1);
        send(ITC_NO_MBOX_ID, 2);
        EXPECT_EQ("", testing::internal::GetCapturedStderr());
    });
}

TEST_F(ItcDelivery, AMailboxThatGoesBetweenTwoSendsIsNoError)
{
    inProcess([] {
        open("mine");
        const Event created;
        const Event over;
        std::uint32_t theirs = 0;
        std::thread thread([&] {
            theirs = open("theirs");
            created.set();
            over.wait();
        });
        created.wait();
        testing::internal::CaptureStderr();
        send(theirs, 1);
        over.set();
        thread.join();
        send(theirs, 2);
        send(theirs, 3);
        EXPECT_EQ("", testing::internal::GetCapturedStderr());
    });
}

TEST_F(ItcDelivery, NothingToSendIsNoError)
{
    inProcess([] {
        const std::uint32_t mine = open("mine");
        itc_msg* none = nullptr;
        __itc_send(&none, mine, mine, __FILE__, __LINE__);
        __itc_send(nullptr, mine, mine, __FILE__, __LINE__);
        EXPECT_FALSE(receive(0));
    });
}

TEST_F(ItcDelivery, AMailboxThatWasOutOfDescriptorsTakesLaterConnections)
{
    const Event created;
    const Event sent;
    const Event received;
    Process receiver([&] {
        open("receiver");
        created.set();
        EXPECT_TRUE(sent.wait());
        {
            const Limit none(RLIMIT_NOFILE, 0);
            EXPECT_FALSE(receive(10));
        }
        EXPECT_EQ(1U, receiveNumber());
        received.set();
        EXPECT_EQ(2U, receiveNumber());
    });
    ASSERT_TRUE(created.wait());
    const auto sendFromAnother = [](std::uint32_t number) {
        inProcess([number] {
            open("sender");
            send(find("receiver"), number);
        });
    };
    sendFromAnother(1);
    sent.set();
    EXPECT_TRUE(received.wait());
    sendFromAnother(2);
    EXPECT_EQ(0, receiver.wait());
}

} // namespace
