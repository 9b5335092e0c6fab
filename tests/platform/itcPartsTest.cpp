// Parts of the mailbox library by themselves: its descriptors, and when it tries again.
#include "descriptor.h"
#include "itcSupport.h"
#include "messageQueue.h"
#include "retry.h"

#include <stdexcept>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace Itc {
namespace {

TEST(ItcDescriptor, TheLowestIsOneAsAnyOther)
{
    ItcTest::inProcess([] {
        ::close(STDIN_FILENO);
        {
            const Descriptor lowest(::open("/dev/null", O_RDONLY | O_CLOEXEC));
            ASSERT_EQ(STDIN_FILENO, lowest.get());
            EXPECT_TRUE(lowest);
        }
        EXPECT_EQ(-1, ::fcntl(STDIN_FILENO, F_GETFD)) << "it is closed";
    });
}

TEST(ItcMessageQueue, CountsWhatItHolds)
{
    Itc::MessageQueue queue;
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_EQ(queue.size(), 0U);
    for (const std::size_t size : {4U, 5U})
        queue.push(Itc::makeMessage(size));
    EXPECT_FALSE(queue.isEmpty());
    EXPECT_EQ(queue.size(), 2U);
    EXPECT_EQ(queue.first()->size, 4U);
    EXPECT_EQ(queue.takeFirst()->size, 4U);
    EXPECT_EQ(queue.size(), 1U);
}

TEST(ItcRetry, WhereNothingIsOwedNothingIsDue)
{
    Retry retry;
    EXPECT_FALSE(retry.isDue());
    EXPECT_LT(retry.remaining(), 0);
    retry.postpone();
    retry.done();
    EXPECT_FALSE(retry.isOwed());
    EXPECT_FALSE(retry.isDue());
    EXPECT_LT(retry.remaining(), 0);
}

TEST(ItcRetry, WhatFailsAgainAndAgainIsNotTriedAtOnce)
{
    Retry retry;
    for (int i = 0; i < 20; ++i)
        retry.postpone();
    const int remaining = retry.remaining();
    EXPECT_TRUE(retry.isOwed());
    EXPECT_GT(remaining, 0);
    EXPECT_LE(remaining, 200);
}

std::string reportOf(Retry& retry, const std::exception& error)
{
    testing::internal::CaptureStderr();
    retry.failed(error);
    return testing::internal::GetCapturedStderr();
}

TEST(ItcRetry, AFailureIsReportedOnceUntilItIsOver)
{
    for (const std::string& text :
         {std::string("short"), std::string(158, 'x'), std::string(159, 'x'), std::string(160, 'x'),
          std::string(500, 'x')}) {
        Retry retry;
        const std::runtime_error error(text);
        const std::string report = "itc: " + text + "\n";
        EXPECT_EQ(report, reportOf(retry, error));
        EXPECT_EQ("", reportOf(retry, error)) << text.size();
        EXPECT_EQ("itc: another\n", reportOf(retry, std::runtime_error("another")));
        EXPECT_EQ(report, reportOf(retry, error));
        retry.done();
        EXPECT_EQ(report, reportOf(retry, error));
    }
}

} // namespace
} // namespace Itc
