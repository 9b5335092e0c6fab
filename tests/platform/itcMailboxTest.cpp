// A thread's mailbox: its creation and its names, and what a receive takes.
#include "itcSupport.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <set>
#include <thread>

#include <gtest/gtest.h>

using namespace ItcTest;

namespace {

class ItcMailbox : public MailboxDirectory
{
};

using Clock = std::chrono::steady_clock;

/** Creates a mailbox and expects that name to lead to it. */
void expectFound(const std::string& name)
{
    const std::uint32_t mine = open(name);
    EXPECT_EQ(mine, find(name)) << name;
}

TEST_F(ItcMailbox, TheSecondInitialisationOfAProcessSaysSo)
{
    inProcess([] {
        EXPECT_EQ(0, init());
        EXPECT_EQ(ITC_ALREADY_INITIALISED, init());
        std::thread([] { EXPECT_EQ(ITC_ALREADY_INITIALISED, init()); }).join();
    });
}

TEST_F(ItcMailbox, AMailboxNeedsAnInitialisedProcess)
{
    inProcess([] { EXPECT_EQ(ITC_NO_MBOX_ID, create("early")); });
}

TEST_F(ItcMailbox, AThreadHasOneMailbox)
{
    inProcess([] {
        open("first");
        EXPECT_EQ(ITC_NO_MBOX_ID, create("second"));
    });
}

TEST_F(ItcMailbox, IdsAreNeverTheSpecialOnesNorUsedAgainSoon)
{
    inProcess([] {
        std::set<std::uint32_t> ids;
        for (int i = 0; i < 1000; ++i)
            std::thread([&] { ids.insert(open("again")); }).join();
        EXPECT_EQ(1000U, ids.size());
        EXPECT_FALSE(ids.contains(ITC_MY_MBOX_ID) || ids.contains(ITC_FROM_ALL) ||
                     ids.contains(ITC_NO_MBOX_ID));
    });
}

TEST_F(ItcMailbox, ConnectionsToThoseThatHaveGoneDoNotAddUp)
{
    inProcess([] {
        const std::uint32_t mine = open("resident");
        const auto talkToOne = [mine] {
            std::thread passing([mine] {
                open("passing");
                send(mine, 1);
                EXPECT_TRUE(receive());
            });
            const auto received = receive();
            send(received ? received->sender : ITC_NO_MBOX_ID, 1);
            passing.join();
        };
        talkToOne();
        talkToOne();
        const std::size_t descriptors = openDescriptors();
        for (int i = 0; i < 10; ++i)
            talkToOne();
        EXPECT_EQ(descriptors, openDescriptors());
    });
}

TEST_F(ItcMailbox, ANameOfALiveMailboxIsRefusedInTheSameProcess)
{
    inProcess([] {
        const std::uint32_t mine = open("held");
        std::thread([] { EXPECT_EQ(ITC_NO_MBOX_ID, create("held")); }).join();
        EXPECT_EQ(mine, find("held"));
    });
}

TEST_F(ItcMailbox, ANameOfALiveMailboxIsRefusedInAnotherProcess)
{
    const Event held;
    Process holder([&] {
        open("held");
        held.set();
        receiveRaw();
    });
    ASSERT_TRUE(held.wait());
    inProcess([] {
        init();
        EXPECT_EQ(ITC_NO_MBOX_ID, create("held"));
    });
    holder.stop();
    inProcess([] {
        init();
        EXPECT_EQ(ITC_NO_MBOX_ID, create("held")) << "stopped is not dead";
    });
}

TEST_F(ItcMailbox, ANameOfAKilledProcessIsTakenOver)
{
    const Event held;
    Process holder([&] {
        open("held");
        held.set();
        receiveRaw();
    });
    ASSERT_TRUE(held.wait());
    holder.kill();
    inProcess([] { expectFound("held"); });
}

TEST_F(ItcMailbox, WhatKilledProcessesLeftIsRemovedByTheNextToBegin)
{
    for (const char* const name : {"held", "x", ""}) {
        const Event held;
        Process holder([&] {
            open(name);
            locate("nobody", 1);
            held.set();
            receiveRaw();
        });
        ASSERT_TRUE(held.wait());
        EXPECT_EQ(3U, entries()) << "an endpoint, a name, a waiter";
        holder.kill();
        inProcess([] { init(); });
        EXPECT_EQ(0U, entries()) << name;
    }
}

TEST_F(ItcMailbox, AProcessThatExitsLeavesNothing)
{
    inProcess([] {
        open("main thread's");
        locate("nobody", 1);
    });
    EXPECT_EQ(0U, entries());
}

TEST_F(ItcMailbox, AThreadsNameIsFreeAsSoonAsItHasEnded)
{
    inProcess([] {
        for (int i = 0; i < 100; ++i)
            std::thread([] { open("mine"); }).join();
    });
}

TEST_F(ItcMailbox, ANameHoldsAnyBytes)
{
    inProcess([] {
        for (const std::string name :
             {"", "/", "../lock", ".", "a/b", "a%2Fb", "line\nbreak", "\xff\x01", "n-x", "*"})
            std::thread([&] { expectFound(name); }).join();
    });
}

TEST_F(ItcMailbox, NamesThatDifferInOneByteAreDifferent)
{
    inProcess([] {
        open("a/b");
        std::thread([] { EXPECT_NE(ITC_NO_MBOX_ID, create("a%2Fb")); }).join();
        std::thread([] { EXPECT_NE(ITC_NO_MBOX_ID, create("A/B")); }).join();
    });
}

TEST_F(ItcMailbox, ANameIsAtMost253BytesLong)
{
    inProcess([] {
        const std::string longest(253, 'x');
        std::thread([&] { expectFound(longest); }).join();
        EXPECT_EQ(ITC_NO_MBOX_ID, create(longest + "x"));
        EXPECT_EQ(ITC_NO_MBOX_ID, create(std::string(85, '/'))) << "254 as it is written";
        EXPECT_EQ(ITC_NO_MBOX_ID, __itc_create_mailbox(nullptr, 0, __FILE__, __LINE__));
    });
}

TEST_F(ItcMailbox, AMessageBeginsWithItsNumberAndHasNoSenderYet)
{
    itc_msg* message = alloc(0x01707080, 12);
    EXPECT_EQ(0x01707080U, message->msgno);
    EXPECT_EQ(ITC_NO_MBOX_ID, __itc_sender(message, __FILE__, __LINE__));
    std::memset(message, 0x5A, 12);
    __itc_free(&message, __FILE__, __LINE__);
    EXPECT_EQ(nullptr, message);
    __itc_free(&message, __FILE__, __LINE__);
}

TEST_F(ItcMailbox, AMessageHasRoomForItsNumberWhateverSizeIsAsked)
{
    itc_msg* message = alloc(7, 0);
    EXPECT_EQ(7U, message->msgno);
    __itc_free(&message, __FILE__, __LINE__);
}

TEST_F(ItcMailbox, AMessageThatMemoryCannotHoldIsNull)
{
    EXPECT_EQ(nullptr, __itc_alloc(SIZE_MAX, 1, __FILE__, __LINE__));
    EXPECT_EQ(nullptr, __itc_alloc(PTRDIFF_MAX, 1, __FILE__, __LINE__));
}

TEST_F(ItcMailbox, AReceiveWithoutAMailboxAnswersNullAtOnce)
{
    inProcess([] {
        EXPECT_EQ(nullptr, receiveRaw(ITC_NO_TMO));
        init();
        EXPECT_EQ(nullptr, receiveRaw(ITC_NO_TMO));
    });
}

TEST_F(ItcMailbox, WithoutAMailboxLocateAndMonitorOnlyTakeTheirMessage)
{
    inProcess([] {
        init();
        locate("nobody", 1);
        EXPECT_EQ(0U, monitor(1, 2));
        send(ITC_MY_MBOX_ID, 3);
    });
    EXPECT_EQ(0U, entries());
}

TEST_F(ItcMailbox, AReceiveEndsWithItsTime)
{
    inProcess([] {
        open("mine");
        EXPECT_EQ(nullptr, receiveRaw(0));
        const auto begin = Clock::now();
        EXPECT_EQ(nullptr, receiveRaw(30));
        EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(30));
    });
}

TEST_F(ItcMailbox, ASignalDoesNotEndAReceive)
{
    inProcess([] {
        struct sigaction action
        {
        };
        action.sa_handler = [](int) {};
        sigaction(SIGUSR1, &action, nullptr);
        const std::uint32_t mine = open("mine");
        std::atomic<bool> over = false;
        std::thread disturber([&, receiver = pthread_self()] {
            for (int i = 0; i < 100; ++i) {
                pthread_kill(receiver, SIGUSR1);
                std::this_thread::yield();
            }
            over = true;
            send(mine, 1);
        });
        EXPECT_EQ(1U, receiveNumber());
        EXPECT_TRUE(over);
        disturber.join();
    });
}

TEST_F(ItcMailbox, AFilterLeavesTheOthersInTheirOrder)
{
    inProcess([] {
        open("mine");
        for (const std::uint32_t number : {1U, 2U, 3U, 4U, 3U})
            send(ITC_MY_MBOX_ID, number);
        EXPECT_FALSE(receive(0, {9}));
        EXPECT_EQ(3U, receive(0, {4, 3})->number);
        EXPECT_EQ(4U, receive(0, {4, 3})->number);
        EXPECT_EQ(1U, receiveNumber());
        EXPECT_EQ(2U, receiveNumber());
        EXPECT_EQ(3U, receiveNumber());
        EXPECT_FALSE(receive(0));
    });
}

TEST_F(ItcMailbox, ACountOfNoNumbersTakesAnyMessage)
{
    inProcess([] {
        open("mine");
        send(ITC_MY_MBOX_ID, 5);
        const std::uint32_t none[] = {0};
        itc_msg* message = __itc_receive(none, 0, ITC_FROM_ALL, __FILE__, __LINE__);
        ASSERT_NE(nullptr, message);
        EXPECT_EQ(5U, message->msgno);
        __itc_free(&message, __FILE__, __LINE__);
    });
}

TEST_F(ItcMailbox, AReceiveCanAskForOneSender)
{
    inProcess([] {
        const std::uint32_t mine = open("mine");
        std::uint32_t theirs = 0;
        std::thread([&] {
            theirs = open("theirs");
            send(mine, 1);
        }).join();
        send(mine, 2);
        EXPECT_EQ(2U, receive(patience, {}, ITC_MY_MBOX_ID)->number);
        EXPECT_FALSE(receive(0, {}, mine));
        EXPECT_EQ(1U, receive(patience, {}, theirs)->number);
    });
}

} // namespace
