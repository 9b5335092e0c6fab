#include "dbcsiMessages.h"
#include "mailbox.h"
#include "serverFixture.h"
#include "service.h"
#include "tests/support/dbBuilder.h"
#include "tests/support/temporaryDirectory.h"
#include "tests/support/waitUntil.h"

#include <cstddef>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace {

using namespace Dbcsi;
using testing::HasSubstr;

void send(const std::vector<std::uint32_t>& words, std::uint32_t to)
{
    Mailbox::send(Mailbox::fromBytes(std::as_bytes(std::span(words))), to);
}

/** Subscribes as a client of the library does, and ends. */
void subscribeTo(std::uint32_t server)
{
    EXPECT_NE(Mailbox::create("unreachedClient"), ITC_NO_MBOX_ID);
    send({DBCSI_CONN_ESTABLISH_REQ, 1, 1, 1, protocolVersion}, server);
    const Mailbox::Message confirmed = Mailbox::receive(Varnix::Test::patience);
    ASSERT_TRUE(confirmed);
    send(
        {DBCSI_SUBSCRIBE_REQ, 1, Mailbox::wordAt(confirmed, offsetof(ConnEstablishCfm, serverRef))},
        server);
    EXPECT_TRUE(Mailbox::receive(Varnix::Test::patience));
}

/** A service that does not know yet that its one subscriber has ended. */
std::vector<Receiver> writeToOneThatHasEnded(const std::string& journal)
{
    EXPECT_TRUE(Mailbox::initialise(2));
    const std::uint32_t own = Mailbox::create("unreachedServer");
    EXPECT_NE(own, ITC_NO_MBOX_ID);
    Settings settings;
    settings.journal = journal;
    Service service(settings);
    std::thread client(subscribeTo, own);
    service.handle(Mailbox::receive(Varnix::Test::patience));
    service.handle(Mailbox::receive(Varnix::Test::patience));
    client.join();
    return service.write({"db", "write", "/a", "1"});
}

TEST(UnreachedSubscriber, HasNotHadTheWriteInTheJournal)
{
    const Varnix::Test::TemporaryDirectory directory;
    const std::string journal = directory / "journal";
    std::vector<Receiver> receivers;
    // On a thread of its own, which has no mailbox yet.
    std::thread([&] { receivers = writeToOneThatHasEnded(journal); }).join();
    ASSERT_EQ(receivers.size(), 1U);
    EXPECT_EQ(receivers.front().outcome, ControlOutcome::NOT_SENT);
    EXPECT_THAT(Varnix::Test::readFile(journal), HasSubstr(" except "));
}

} // namespace
