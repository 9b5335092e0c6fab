#include "conversation.h"

#include <gtest/gtest.h>
#include <unistd.h>

using namespace ItcTest;

namespace HostileTest {

void beginClient()
{
    const int result = init();
    EXPECT_TRUE(result == 0 || result == ITC_ALREADY_INITIALISED) << result;
    EXPECT_NE(ITC_NO_MBOX_ID, create("client"));
    locate("server", located);
}

void finishClient()
{
    const auto found = receive(patience, {located});
    ASSERT_TRUE(found);
    monitor(found->sender, gone);
    send(found->sender, hello);
    EXPECT_EQ(written, receiveNumber());
    EXPECT_EQ(gone, receiveNumber());
}

void serveAs(const std::string& name)
{
    open(name);
    const auto asked = receive(patience, {hello});
    ASSERT_TRUE(asked);
    send(asked->sender, written, 100'000);
}

void serve()
{
    serveAs("server");
}

void converse(const Step& beforeClient, const Step& beforeServer)
{
    const Event begun;
    Process client([&] {
        beforeClient();
        beginClient();
        EXPECT_FALSE(receive(0));
        begun.set();
        finishClient();
    });
    ASSERT_TRUE(begun.wait());
    Process server([&] {
        beforeServer();
        serve();
    });
    EXPECT_EQ(0, server.wait());
    EXPECT_EQ(0, client.wait());
}

void expectRefused(const std::string& name, const std::string& words)
{
    inProcess([&] {
        testing::internal::CaptureStderr();
        const int result = init();
        const bool refused =
            (result != 0 && result != ITC_ALREADY_INITIALISED) || create(name) == ITC_NO_MBOX_ID;
        const std::string report = testing::internal::GetCapturedStderr();
        EXPECT_TRUE(refused);
        EXPECT_NE(std::string::npos, report.find(words)) << report;
    });
}

} // namespace HostileTest
