// Monitor: answered when a mailbox goes, however its process ended.
#include "itcSupport.h"

#include <cstdlib>
#include <functional>
#include <list>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

using namespace ItcTest;

namespace {

constexpr std::uint32_t goneNumber = 0x01707080;

/** Expects the one message that says that `mailbox` has gone. */
void expectGone(std::uint32_t mailbox)
{
    const auto gone = receive();
    ASSERT_TRUE(gone);
    EXPECT_EQ(goneNumber, gone->number);
    EXPECT_EQ(mailbox, gone->sender);
    EXPECT_FALSE(receive(0));
}

/** A mailbox to be watched, until `over` comes. */
void runUntil(const Event& over)
{
    open("target");
    over.wait();
}

/** A mailbox to be watched, until its process is killed. */
void runUntilKilled()
{
    open("target");
    receiveRaw();
}

class ItcMonitor : public MailboxDirectory
{
protected:
    /** Monitors a process that runs `end` once it is watched. */
    static void expectGoneAfter(const std::function<void()>& end)
    {
        const Event watched;
        Process target([&] {
            runUntil(watched);
            end();
        });
        inProcess([&] {
            open("watcher");
            const std::uint32_t id = find("target");
            EXPECT_NE(0U, monitor(id, goneNumber));
            EXPECT_FALSE(receive(0));
            watched.set();
            expectGone(id);
        });
        EXPECT_EQ(0, target.wait());
    }
};

TEST_F(ItcMonitor, AnExitIsTold)
{
    expectGoneAfter([] { std::exit(0); });
}

TEST_F(ItcMonitor, AnEndWithoutExitHandlersIsTold)
{
    expectGoneAfter([] { ::_exit(0); });
}

TEST_F(ItcMonitor, AnExitFromAnotherThreadIsTold)
{
    expectGoneAfter([] { std::thread([] { std::exit(0); }).join(); });
}

TEST_F(ItcMonitor, AKilledProcessIsTold)
{
    const Event watched;
    Process target(runUntilKilled);
    Process watcher([&] {
        open("watcher");
        const std::uint32_t id = find("target");
        monitor(id, goneNumber);
        watched.set();
        expectGone(id);
    });
    ASSERT_TRUE(watched.wait());
    target.kill();
    EXPECT_EQ(0, watcher.wait());
}

TEST_F(ItcMonitor, AStoppedProcessIsNotGone)
{
    const Event watched;
    const Event stopped;
    Process target(runUntilKilled);
    Process watcher([&] {
        open("watcher");
        monitor(find("target"), goneNumber);
        watched.set();
        stopped.wait();
        EXPECT_FALSE(receive(0));
    });
    ASSERT_TRUE(watched.wait());
    target.stop();
    stopped.set();
    EXPECT_EQ(0, watcher.wait());
}

TEST_F(ItcMonitor, AThreadsEndIsTold)
{
    inProcess([] {
        open("watcher");
        const Event over;
        std::thread target([&] { runUntil(over); });
        const std::uint32_t id = find("target");
        monitor(id, goneNumber);
        EXPECT_FALSE(receive(0));
        over.set();
        expectGone(id);
        target.join();
    });
}

TEST_F(ItcMonitor, AMailboxThatHasGoneAlreadyIsToldAtOnce)
{
    inProcess([] {
        open("watcher");
        std::uint32_t id = 0;
        std::thread([&] { id = open("target"); }).join();
        for (const std::uint32_t gone : {id, ITC_NO_MBOX_ID, std::uint32_t{12345}}) {
            EXPECT_NE(0U, monitor(gone, goneNumber));
            const auto answer = receive(0);
            ASSERT_TRUE(answer);
            EXPECT_EQ(gone, answer->sender);
        }
    });
}

TEST_F(ItcMonitor, EveryMonitorIsAnswered)
{
    inProcess([] {
        open("watcher");
        const Event over;
        std::thread target([&] { runUntil(over); });
        const std::uint32_t id = find("target");
        std::thread second([&] {
            open("second watcher");
            monitor(id, 3);
            over.set();
            EXPECT_EQ(3U, receiveNumber());
        });
        const std::uint32_t first = monitor(id, 1);
        EXPECT_NE(first, monitor(id, 2));
        EXPECT_EQ(1U, receiveNumber());
        EXPECT_EQ(2U, receiveNumber());
        target.join();
        second.join();
    });
}

TEST_F(ItcMonitor, WhatAMailboxSentBeforeItWentComesFirst)
{
    const Event watched;
    const Event ended;
    Process target([&] {
        open("target");
        const std::uint32_t to = find("watcher");
        watched.wait();
        for (std::uint32_t i = 1; i <= 1000; ++i)
            send(to, i);
        ::_exit(0);
    });
    Process watcher([&] {
        open("watcher");
        monitor(find("target"), goneNumber);
        watched.set();
        ended.wait();
        for (std::uint32_t i = 1; i <= 1000; ++i) {
            ASSERT_EQ(i, receiveNumber());
        }
        EXPECT_EQ(goneNumber, receiveNumber());
    });
    EXPECT_EQ(0, target.wait());
    ended.set();
    EXPECT_EQ(0, watcher.wait());
}

/** Sends `number` at once, and once more when it is told to; ends when the watcher has all. */
void sendTwice(std::uint32_t number, const Event& connected, const Event& again, const Event& sent,
               const Event& over)
{
    open("other " + std::to_string(::getpid()));
    const std::uint32_t to = find("watcher");
    send(to, number);
    connected.set();
    EXPECT_TRUE(again.wait());
    send(to, number);
    sent.set();
    EXPECT_TRUE(over.wait());
}

/** Runs `work` while the process can open nothing. */
void withoutNewDescriptors(const std::function<void()>& work)
{
    const Limit none(RLIMIT_NOFILE, firstFreeDescriptor());
    work();
}

void times(std::size_t count, const std::function<void()>& work)
{
    for (std::size_t i = 0; i < count; ++i)
        work();
}

TEST_F(ItcMonitor, WhatAMailboxSentComesFirstWhereMoreIsReadyThanIsLookedAtAtOnce)
{
    constexpr std::size_t others = 100; // the library looks at 64 descriptors at once
    static constexpr std::uint32_t otherNumber = 0x1000;
    constexpr std::uint32_t count = 10;
    const Event opened;
    const Event connected;
    const Event again;
    const Event sent;
    const Event over;
    const Event watched;
    const Event ended;
    Process watcher([&] {
        open("watcher");
        opened.set();
        times(others, [] { EXPECT_EQ(otherNumber, receiveNumber()); });
        monitor(find("target"), goneNumber);
        withoutNewDescriptors([&] { // what the target sends cannot be taken yet
            watched.set();
            EXPECT_TRUE(ended.wait());
            EXPECT_FALSE(receive(0, {1, goneNumber}));
        });
        for (std::uint32_t i = 1; i <= count; ++i)
            EXPECT_EQ(i, receive(patience, {i, goneNumber})->number);
        EXPECT_TRUE(receive(patience, {goneNumber}));
        times(others, [&] { over.set(); });
    });
    ASSERT_TRUE(opened.wait());
    std::list<Process> senders;
    times(others, [&] {
        senders.emplace_back([&] { sendTwice(otherNumber, connected, again, sent, over); });
    });
    times(others, [&] { EXPECT_TRUE(connected.wait()); });
    Process target([&] {
        open("target");
        EXPECT_TRUE(watched.wait());
        const std::uint32_t to = find("watcher");
        for (std::uint32_t i = 1; i <= count; ++i)
            send(to, i);
    });
    EXPECT_EQ(0, target.wait());
    times(others, [&] { again.set(); });
    times(others, [&] { EXPECT_TRUE(sent.wait()); });
    ended.set();
    EXPECT_EQ(0, watcher.wait());
    for (Process& sender : senders)
        EXPECT_EQ(0, sender.wait());
}

TEST_F(ItcMonitor, TheNameIsFreeWhenTheNewsArrives)
{
    const Event watched;
    Process target(runUntilKilled);
    Process watcher([&] {
        open("watcher");
        monitor(find("target"), goneNumber);
        watched.set();
        EXPECT_EQ(goneNumber, receiveNumber());
        std::thread([] { open("target"); }).join();
    });
    ASSERT_TRUE(watched.wait());
    target.kill();
    EXPECT_EQ(0, watcher.wait());
}

} // namespace
