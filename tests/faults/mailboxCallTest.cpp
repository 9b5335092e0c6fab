// What a caller of the mailbox library gets while a call that it depends on fails.
#include "callFailure.h"
#include "child.h"
#include "itcHost.h"
#include "tests/platform/itcSupport.h"
#include "tests/support/allocationFailure.h"

#include <cerrno>
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

TEST_F(MailboxCallFault, WhatThereIsNoMemoryForIsNotCalledDone)
{
    inChild("new", [] {
        open("mine");
        itc_msg* watching = alloc(7);
        itc_msg* sent = alloc(7);
        testing::internal::CaptureStderr();
        std::uint32_t reference = 1;
        int isSent = 1;
        {
            const AllocationFailure failure(Allocation::ANY);
            reference = __itc_monitor(1, &watching, "client.cpp", 7);
            isSent = __itc_host_send(&sent, 1, ITC_MY_MBOX_ID, "client.cpp", 8);
        }
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_EQ(reference, 0U);
        EXPECT_EQ(isSent, 0);
        EXPECT_EQ(watching, nullptr);
        EXPECT_EQ(sent, nullptr);
        for (const char* const line :
             {"client.cpp:7: itc: std::bad_alloc", "client.cpp:8: itc: std::bad_alloc"})
            EXPECT_NE(said.find(line), std::string::npos) << said;
    });
}

TEST_F(MailboxCallFault, MessageThatCanNeitherBeSentNorKeptIsCalledLost)
{
    inChild("pwritev", [] {
        const Event held;
        ItcTest::Process other([&] {
            open("held");
            held.set();
            EXPECT_EQ(receiveNumber(), 1U);
            EXPECT_EQ(receiveNumber(), 3U);
        });
        ASSERT_TRUE(held.wait());
        open("mine");
        const std::uint32_t to = find("held");
        send(to, 1);
        itc_msg* message = alloc(2);
        testing::internal::CaptureStderr();
        {
            const CallFailure full("pwritev", CallEffect::failing(ENOMEM), 0);
            const AllocationFailure failure(Allocation::ANY);
            EXPECT_EQ(__itc_host_send(&message, to, ITC_MY_MBOX_ID, "client.cpp", 8), 0);
        }
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "itc: a message is lost: there is no memory to keep it until it can be sent\n");
        message = alloc(3);
        EXPECT_EQ(__itc_host_send(&message, to, ITC_MY_MBOX_ID, "client.cpp", 9), 1);
        EXPECT_EQ(other.wait(), 0);
    });
}

} // namespace
} // namespace Varnix::Test
