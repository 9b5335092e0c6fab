#include "dbRegistryImpl.h"
#include "systemFixture.h"
#include "tests/support/processState.h"
#include "tests/support/waitUntil.h"

#include <filesystem>
#include <fstream>

#include <unistd.h>

namespace {

using namespace Varnix::Backend;
using namespace Varnix::Test;

/** What must stay level. */
struct Level
{
    std::size_t threads = threadCount();
    std::size_t descriptors = descriptorCount();
    std::size_t mailboxes = entriesOf(std::getenv("VARNIX_ITC_DIR"));

    bool operator==(const Level&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Level& level)
{
    return stream << level.threads << " threads, " << level.descriptors << " descriptors, "
                  << level.mailboxes << " mailboxes";
}

std::size_t residentPages()
{
    std::size_t size = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return resident;
}

/** Creates and frees the registry; every other time only after it has its mailbox. */
void live(const std::string& configuration, int times)
{
    const std::filesystem::path mailbox =
        std::string(std::getenv("VARNIX_ITC_DIR")) + "/n-dbSubscriber" + std::to_string(::getpid());
    for (int i = 0; i < times; ++i) {
        const auto db = DbRegistryImpl::getInstance()->initDb(configuration);
        ASSERT_NE(db, nullptr);
        ASSERT_TRUE(i % 2 == 0 || waitUntil([&] { return std::filesystem::is_symlink(mailbox); }));
        DbRegistryImpl::freeInstance();
    }
}

TEST(RegistryLife, LeavesEverythingLevel)
{
    const int lives = countOf("VARNIX_TEST_LIVES", 300);
    constexpr int warmUp = 50;
    constexpr std::size_t toleratedPages = 256;
    const Node node;
    live(node.configuration(), warmUp);
    const Level before;
    const std::size_t pages = residentPages();
    live(node.configuration(), lives);
    waitUntil([&] { return Level() == before; }); // a joined thread is listed for a moment longer
    EXPECT_EQ(Level(), before);
    EXPECT_LT(residentPages(), pages + toleratedPages);
}

} // namespace
