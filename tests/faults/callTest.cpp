#include "callFailure.h"
#include "child.h"
#include "dbContainer.h"
#include "dbRegistryImpl.h"
#include "faultNode.h"
#include "tests/support/dbBuilder.h"

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

namespace Varnix::Test {
namespace {

using Backend::DbContainer;
using Backend::DbRegistryImpl;

/** A call that a load makes, with what may become of it. */
struct FailingCall
{
    const char* name;
    std::vector<CallEffect> effects;
};

constexpr CallEffect failing(int error)
{
    return {.error = error};
}

/** Runs `operation` with the first such call struck, then the second, until none is. */
std::size_t strikeEach(const FailingCall& call, std::size_t count,
                       const std::function<void()>& operation,
                       const std::function<void(const CallEffect&)>& check)
{
    std::size_t failures = 0;
    for (const CallEffect& effect : call.effects) {
        bool struck = true;
        for (std::size_t first = 0; struck && !testing::Test::HasFailure(); ++first) {
            {
                const CallFailure failure(call.name, effect, first, count);
                operation();
                struck = failure.struck();
            }
            const testing::ScopedTrace trace(__FILE__, __LINE__,
                                             std::string(call.name) + " " + std::to_string(first) +
                                                 " error " + std::to_string(effect.error));
            check(effect);
            failures += struck ? 1 : 0;
        }
    }
    return failures;
}

class CallFault : public testing::Test
{
protected:
    /** The node's data is there whole or not at all under each call, and there without a fault. */
    void strike(const std::vector<FailingCall>& calls)
    {
        for (const FailingCall& call : calls)
            inChild(call.name, [&] {
                std::shared_ptr<V1::DatabaseIf> database;
                const std::size_t failures = strikeEach(
                    call, 1,
                    [&] {
                        DbRegistryImpl::freeInstance();
                        database = m_node.initDb();
                    },
                    [&](const CallEffect&) {
                        EXPECT_TRUE(!database || FaultNode::isWhole(*database));
                        database.reset();
                        DbRegistryImpl::freeInstance();
                        const auto next = m_node.initDb();
                        ASSERT_TRUE(next);
                        EXPECT_TRUE(FaultNode::isWhole(*next));
                    });
                DbRegistryImpl::freeInstance();
                EXPECT_GT(failures, 0U);
                std::printf("initDb: %zu failing calls of %s\n", failures, call.name);
            });
    }

    const FaultNode m_node;
};

TEST_F(CallFault, DatabaseIsWholeOrThereIsNone)
{
    strike({
        {"open", {failing(EACCES), failing(EMFILE), failing(EINTR), failing(EIO)}},
        {"fopen", {failing(EACCES), failing(EMFILE), failing(EINTR), failing(EIO)}},
        {"read",
         {failing(EINTR), failing(EIO), failing(EISDIR), CallEffect::atMost(1),
          CallEffect::atMost(0)}},
        {"lseek", {failing(EINVAL), failing(EIO), failing(EOVERFLOW)}},
        {"close", {failing(EIO), failing(EINTR)}},
    });
}

/** The loaders by themselves, every transfer cut to one byte. */
TEST_F(CallFault, ReadsOfOneByteLoadTheWholeFile)
{
    inChild("read", [&] {
        // The header is read in one call: what is shorter is no header.
        const CallFailure body("read", CallEffect::atMost(1), 1, CallFailure::all);
        EXPECT_TRUE(DbContainer().loadProductionDb(m_node.production()));
        const CallFailure all("read", CallEffect::atMost(1), 0, CallFailure::all);
        EXPECT_TRUE(DbContainer().loadSwDb(m_node.production()));
    });
}

TEST_F(CallFault, NegativeReadEndsTheProductionLoad)
{
    inChild("read", [&] {
        for (const int error : {EINTR, EIO, EAGAIN}) {
            const CallFailure failure("read", failing(error), 1);
            EXPECT_FALSE(DbContainer().loadProductionDb(m_node.production()));
        }
    });
}

TEST_F(CallFault, ProductionReadOfNothingIsAskedAgain)
{
    inChild("read", [&] {
        const CallFailure failure("read", CallEffect::atMost(0), 1, 1000);
        EXPECT_TRUE(DbContainer().loadProductionDb(m_node.production()));
    });
}

TEST_F(CallFault, ConfigurationThatCannotBeReadIsNoEndOfTheProcess)
{
    inChild("read", [&] {
        // A file that opens, and whose first byte cannot be read.
        EXPECT_FALSE(V1::DbRegistryIf::getInstance().initDb("/proc/self/mem"));
        EXPECT_TRUE(m_node.initDb());
        DbRegistryImpl::freeInstance();
    });
}

} // namespace
} // namespace Varnix::Test
