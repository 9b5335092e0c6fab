#include "serverFixture.h"

#include "tests/support/temporaryDirectory.h"
#include "tests/support/waitUntil.h"

#include <cstdlib>
#include <optional>

namespace ServerTests {
namespace {

/** Keeps the tests' mailboxes away from everybody else's. */
class OwnMailboxDirectory : public testing::Environment
{
public:
    OwnMailboxDirectory() { ::setenv("VARNIX_ITC_DIR", m_directory.path().c_str(), 1); }

private:
    Varnix::Test::TemporaryDirectory m_directory;
};

const testing::Environment* const ownMailboxDirectory =
    testing::AddGlobalTestEnvironment(new OwnMailboxDirectory);

} // namespace

std::vector<std::string> ServerFixture::serverCommand(std::vector<std::string> options)
{
    options.insert(options.begin(), DBCSI_SERVER_PROGRAM);
    return options;
}

void ServerFixture::startServer(std::vector<std::string> options)
{
    m_server = std::make_unique<Child>(serverCommand(std::move(options)));
}

std::string ServerFixture::complaint()
{
    while (const std::optional<std::string> line = server().err().line())
        if (!line->starts_with("itc: another process holds the lock"))
            return *line;
    return "end of output";
}

void ServerFixture::typeUntilAnswered(const std::string& line, const std::string& wanted)
{
    std::string got;
    EXPECT_TRUE(Varnix::Test::waitUntil([&] {
        type(line);
        got = answer();
        return got == wanted;
    })) << "the last answer: "
        << got;
}

void ServerFixture::typeUntilAnswered(const std::string& line, const std::string& wanted,
                                      const std::function<bool(const std::string&)>& second)
{
    std::string got;
    EXPECT_TRUE(Varnix::Test::waitUntil([&] {
        type(line);
        if ((got = answer()) != wanted)
            return false;
        got = answer();
        return second(got);
    })) << "the last answer: "
        << got;
}

std::unique_ptr<Child> ServerFixture::startSubscriber()
{
    return std::make_unique<Child>(std::vector<std::string>{TEST_SUBSCRIBER_PROGRAM});
}

std::unique_ptr<Child> ServerFixture::subscriber()
{
    auto child = startSubscriber();
    child->out().readUntil("subscribed\n");
    return child;
}

} // namespace ServerTests
