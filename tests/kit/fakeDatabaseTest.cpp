#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <varnix/kit/fakeDatabase.h>

namespace {

using Varnix::Kit::FakeDatabase;
using RetCode = FakeDatabase::RetCode;
using Numbers = std::vector<std::uint16_t>;

TEST(FakeDatabases, ARemovedParameterIsNotFound)
{
    FakeDatabase database;
    database.set("/gain", Numbers{1});
    database.remove("/gain");
    database.remove("/never");
    Numbers values{7};
    EXPECT_EQ(database.get("/gain", values), RetCode::KEY_NOT_FOUND);
    EXPECT_EQ(values, Numbers{7});
}

TEST(FakeDatabases, AKeyWithoutASlashIsRefused)
{
    FakeDatabase database;
    EXPECT_THROW(database.set("", Numbers{1}), std::invalid_argument);
    try {
        database.set("gain", std::string("x"));
        FAIL() << "it was taken";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "the parameter's key \"gain\" does not begin with \"/\"");
    }
}

TEST(FakeDatabases, AReadBesideSetsGivesOneOfTheirValues)
{
    FakeDatabase database;
    const std::vector<std::uint32_t> small(1, 1);
    const std::vector<std::uint32_t> large(100, 100);
    database.set("/key", small);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int round = 0; round < 2000; ++round)
            database.set("/key", round % 2 == 0 ? large : small).set("/other", std::string("x"));
        done = true;
    });
    std::vector<std::uint32_t> values;
    do {
        ASSERT_EQ(database.get("/key", values), RetCode::OK);
        ASSERT_TRUE(values == small || values == large);
    } while (!done);
    writer.join();
}

} // namespace
