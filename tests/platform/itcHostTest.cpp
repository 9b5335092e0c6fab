// What the host's mailbox library tells beyond the node's.
#include "itcHost.h"

#include "itcSupport.h"

#include <cstdint>
#include <optional>

#include <gtest/gtest.h>
#include <unistd.h>

using namespace ItcTest;

namespace {

class ItcHost : public MailboxDirectory
{
};

/** What every message is led by on its way. */
constexpr std::uint64_t frameHeader = 20;

std::optional<itc_host_peer> peerOf(std::uint32_t mailbox)
{
    itc_host_peer peer{};
    return __itc_host_peer(mailbox, &peer, "", 0) == 1 ? std::optional(peer) : std::nullopt;
}

std::uint64_t waitingFor(std::uint32_t mailbox)
{
    const auto peer = peerOf(mailbox);
    return peer ? peer->waiting : ~std::uint64_t{0};
}

int sendSized(std::uint32_t to, std::size_t size)
{
    itc_msg* message = __itc_alloc(size, 7, "", 0);
    return __itc_host_send(&message, to, ITC_MY_MBOX_ID, "", 0);
}

TEST_F(ItcHost, AMessageTellsItsSize)
{
    inProcess([] {
        const std::uint32_t mine = open("mine");
        EXPECT_EQ(1, sendSized(mine, 100));
        itc_msg* message = __itc_receive(nullptr, 0, ITC_FROM_ALL, "", 0);
        EXPECT_EQ(100u, __itc_host_size(message));
        __itc_free(&message, "", 0);
        EXPECT_EQ(0u, __itc_host_size(message));
    });
}

TEST_F(ItcHost, AMailboxTellsItsProcessWhileItLives)
{
    inProcess([] {
        Process other([] {
            open("other");
            ::pause();
        });
        open("mine");
        const std::uint32_t to = find("other");
        ASSERT_TRUE(peerOf(to));
        EXPECT_EQ(other.id(), peerOf(to)->process);
        other.kill();
        EXPECT_EQ(0, sendSized(to, 4));
        EXPECT_FALSE(peerOf(to));
    });
}

TEST_F(ItcHost, WhatAStoppedReceiverHasNotTakenIsCountedToTheByte)
{
    inProcess([] {
        const Event taken;
        Process other([&] {
            open("other");
            while (receive())
                taken.set();
        });
        open("mine");
        const std::uint32_t to = find("other");
        EXPECT_EQ(0u, waitingFor(to));
        for (const std::size_t size : {4u, 5000u, 70'000u, 1u << 20}) {
            EXPECT_EQ(1, sendSized(to, size));
            ASSERT_TRUE(taken.wait());
            // It has the message a little before the bytes count as taken.
            EXPECT_TRUE(Varnix::Test::waitUntil([&] { return waitingFor(to) == 0; }));
        }
        other.stop();
        EXPECT_EQ(1, sendSized(to, 100));
        EXPECT_EQ(100 + frameHeader, waitingFor(to));
        EXPECT_EQ(1, sendSized(to, 1 << 20));
        EXPECT_EQ(100 + (1 << 20) + 2 * frameHeader, waitingFor(to));
        other.resume();
        EXPECT_TRUE(Varnix::Test::waitUntil([&] { return waitingFor(to) == 0; }));
    });
}

TEST_F(ItcHost, ASendThatFindsNoDescriptorIsKeptAndCounted)
{
    Process other([] {
        open("other");
        EXPECT_EQ(7U, receiveNumber());
    });
    inProcess([] {
        open("mine");
        const std::uint32_t to = find("other");
        {
            const Limit none(RLIMIT_NOFILE, 0);
            EXPECT_EQ(1, sendSized(to, 4));
            EXPECT_EQ(4 + frameHeader, waitingFor(to));
        }
        EXPECT_FALSE(receive(0));
        EXPECT_TRUE(Varnix::Test::waitUntil([&] {
            receive(0);
            return waitingFor(to) == 0 || !peerOf(to);
        }));
    });
    EXPECT_EQ(0, other.wait());
}

TEST_F(ItcHost, ASendToAMailboxThatNeverWasSaysSo)
{
    inProcess([] {
        const std::uint32_t mine = open("mine");
        EXPECT_EQ(0, sendSized(mine == 1 ? 2 : 1, 4));
    });
}

TEST_F(ItcHost, ASendOfMoreThanAMessageCanHoldSaysSo)
{
    inProcess([] {
        const std::uint32_t mine = open("mine");
        EXPECT_EQ(0, sendSized(mine, (1 << 20) + 1));
        EXPECT_EQ(1, sendSized(mine, 1 << 20));
    });
}

} // namespace
