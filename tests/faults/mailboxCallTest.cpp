// What a caller of the mailbox library gets while a call that it depends on fails.
#include "callFailure.h"
#include "child.h"
#include "itcHost.h"
#include "tests/platform/itcSupport.h"
#include "tests/support/allocationFailure.h"
#include "tests/support/waitUntil.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <thread>
#include <tuple>

#include <unistd.h>

namespace Varnix::Test {
namespace {

using namespace ItcTest;

class MailboxCallFault : public MailboxDirectory
{
protected:
    /** A process that has the mailbox "held" and receives these in their order. */
    static void receiveInOrder(const Event& held, std::initializer_list<std::uint32_t> numbers)
    {
        open("held");
        held.set();
        for (const std::uint32_t number : numbers)
            EXPECT_EQ(receiveNumber(), number);
    }

    /** A process that has the mailbox "held". */
    static void hold(const Event& held)
    {
        open("held");
        held.set();
        ::pause();
    }
};

TEST_F(MailboxCallFault, WaiterThatCannotBeWokenNowIsWokenByTheNextMailbox)
{
    inChild("sendto", [] {
        open("client");
        locate("server", 7);
        std::thread([] {
            const CallFailure failure("sendto", CallEffect::failing(EAGAIN), 0);
            open("other");
            EXPECT_TRUE(failure.struck());
        }).join();
        std::thread server([] {
            open("server");
            receive();
        });
        const auto found = receive();
        EXPECT_TRUE(found);
        send(found ? found->sender : ITC_NO_MBOX_ID, 1);
        server.join();
    });
}

TEST_F(MailboxCallFault, NameOfAMailboxForWhichVeryManyWaitIsHeld)
{
    inChild("connect", [] {
        const Event held;
        const ItcTest::Process holder([&] { hold(held); });
        ASSERT_TRUE(held.wait());
        init();
        const CallFailure failure("connect", CallEffect::failing(EAGAIN), 0, CallFailure::all);
        EXPECT_EQ(create("held"), ITC_NO_MBOX_ID);
        EXPECT_TRUE(failure.struck());
    });
}

TEST_F(MailboxCallFault, NameOfADeadMailboxIsTakenWhenAShortageIsOver)
{
    const std::string where = directory().native();
    for (const auto& [call, error, report] :
         {std::tuple{"connect", ENOMEM, std::string("cannot reach mailbox 0x")},
          {"flock", ENOLCK, "cannot lock the mailbox directory " + where + ": "}})
        inChild(call, [&, call = call, error = error, report = report] {
            init(); // before there is anything to remove
            const Event held;
            ItcTest::Process holder([&] { hold(held); });
            ASSERT_TRUE(held.wait());
            holder.kill();
            testing::internal::CaptureStderr();
            std::uint32_t made = ITC_NO_MBOX_ID;
            {
                const CallFailure failure(call, CallEffect::failing(error), 0);
                made = create("held");
                EXPECT_TRUE(failure.struck());
            }
            const std::string said = testing::internal::GetCapturedStderr();
            EXPECT_NE(made, ITC_NO_MBOX_ID);
            EXPECT_TRUE(said.starts_with("itc: " + report)) << said;
            EXPECT_EQ(find("held"), made);
        });
}

TEST_F(MailboxCallFault, PeerThatCannotBeToldHasNoProcessId)
{
    inChild("getsockopt", [] {
        const Event held;
        const ItcTest::Process holder([&] { hold(held); });
        ASSERT_TRUE(held.wait());
        open("mine");
        const std::uint32_t other = find("held");
        itc_host_peer peer{-1, 0};
        const CallFailure failure("getsockopt", CallEffect::failing(ENOBUFS), 0);
        EXPECT_EQ(__itc_host_peer(other, &peer, "", 0), 1);
        EXPECT_EQ(peer.process, 0);
    });
}

TEST_F(MailboxCallFault, FirstMessageThatThereIsNoMemoryForIsReceivedWithoutAnother)
{
    inChild("new", [] {
        const ItcTest::Process other([] {
            open("other");
            send(find("mine"), 7);
            ::pause();
        });
        open("mine");
        {
            const AllocationFailure failure(Allocation::NON_THROWING);
            EXPECT_TRUE(waitUntil([&] {
                EXPECT_EQ(receiveNumber(10), 0U);
                return failure.struck();
            }));
        }
        EXPECT_EQ(receiveNumber(), 7U);
    });
}

TEST_F(MailboxCallFault, MailboxThatThereIsNoMemoryForFailsWithThatError)
{
    inChild("new", [] {
        init();
        errno = 0;
        {
            const AllocationFailure failure(Allocation::ANY);
            EXPECT_EQ(create("mine"), ITC_NO_MBOX_ID);
        }
        EXPECT_EQ(errno, ENOMEM);
        EXPECT_NE(create("mine"), ITC_NO_MBOX_ID);
    });
}

TEST_F(MailboxCallFault, WhatIsAskedForWithoutAnyMemoryIsDoneWhenThereIsSome)
{
    inChild("new", [] {
        const Event held;
        ItcTest::Process other([&] { receiveInOrder(held, {1, 2, 3, 4}); });
        ASSERT_TRUE(held.wait());
        open("mine");
        const std::uint32_t to = find("held");
        itc_msg* locating = alloc(7);
        itc_msg* watching = alloc(8);
        std::array messages{alloc(1), alloc(2), alloc(3)};
        {
            const AllocationFailure failure(Allocation::ANY);
            __itc_locate_async("held", &locating, ITC_MY_MBOX_ID, "", 0);
            EXPECT_NE(__itc_monitor(to, &watching, "", 0), 0U);
            for (itc_msg*& message : messages)
                EXPECT_EQ(__itc_host_send(&message, to, ITC_MY_MBOX_ID, "", 0), 1);
        }
        send(to, 4);
        const auto found = receive();
        EXPECT_TRUE(found && found->number == 7 && found->sender == to);
        const auto gone = receive();
        EXPECT_TRUE(gone && gone->number == 8 && gone->sender == to);
        EXPECT_EQ(other.wait(), 0);
    });
}

TEST_F(MailboxCallFault, MessageThatCanNeitherBeWrittenNorCopiedKeepsItsPlace)
{
    inChild("pwritev", [] {
        const Event held;
        ItcTest::Process other([&] { receiveInOrder(held, {1, 2, 3}); });
        ASSERT_TRUE(held.wait());
        open("mine");
        const std::uint32_t to = find("held");
        send(to, 1);
        itc_msg* message = alloc(2);
        testing::internal::CaptureStderr();
        {
            const CallFailure full("pwritev", CallEffect::failing(ENOMEM), 0);
            const AllocationFailure failure(Allocation::ANY);
            EXPECT_EQ(__itc_host_send(&message, to, ITC_MY_MBOX_ID, "", 0), 1);
        }
        EXPECT_EQ(
            testing::internal::GetCapturedStderr(),
            "itc: no memory to keep a message until it can be sent; this is tried again until "
            "it succeeds: memory is short on this host\n");
        send(to, 3);
        monitor(to, 7);
        EXPECT_EQ(receiveNumber(), 7U);
        EXPECT_EQ(other.wait(), 0);
    });
}

TEST_F(MailboxCallFault, WhatIsOwedIsSentBeforeTheProcessEnds)
{
    const Event held;
    ItcTest::Process other([&] { receiveInOrder(held, {1}); });
    ASSERT_TRUE(held.wait());
    inChild("pwritev", [] {
        open("mine");
        const std::uint32_t to = find("held");
        const CallFailure full("pwritev", CallEffect::failing(ENOMEM), 0);
        send(to, 1);
        EXPECT_TRUE(full.struck());
    });
    EXPECT_EQ(other.wait(), 0);
}

/** Has another process make its mailbox. */
const Event* wanted = nullptr;
const Event* made = nullptr;
void letItBeMade(int)
{
    wanted->set();
    made->wait();
}

TEST_F(MailboxCallFault, MailboxThatIsMadeJustBeforeItsWaiterCanBeToldIsFound)
{
    inChild("bind", [] {
        const Event isWanted;
        const Event isMade;
        wanted = &isWanted;
        made = &isMade;
        const ItcTest::Process server([&] {
            isWanted.wait();
            open("server");
            isMade.set();
            ::pause();
        });
        open("client");
        ::signal(SIGUSR1, letItBeMade);
        const CallFailure before("bind", CallEffect::raising(SIGUSR1), 0);
        locate("server", 7);
        EXPECT_TRUE(before.struck());
        EXPECT_TRUE(receive());
    });
}

TEST_F(MailboxCallFault, WaiterThatCannotWaitYetLeavesNoEntry)
{
    inChild("epoll_ctl", [this] {
        open("client");
        const std::size_t before = entries();
        const CallFailure failure("epoll_ctl", CallEffect::failing(ENOSPC), 0);
        locate("server", 7);
        EXPECT_TRUE(failure.struck());
        EXPECT_EQ(entries(), before);
    });
}

TEST_F(MailboxCallFault, ProcessEndsWhileAThreadIsAtWorkOnAMailbox)
{
    inChild("new", [] {
        init();
        static const std::string name(100'000, 'n');
        // Not even the end of the process lets the thread go on.
        static const auto* const memory = new LargeAllocation(name.size(), CallEffect::waiting());
        std::thread([] { create(name); }).detach();
        EXPECT_TRUE(waitUntil([] { return memory->isAsked(); }));
    });
}

} // namespace
} // namespace Varnix::Test
