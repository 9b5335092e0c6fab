#include "tests/interface/clientFixture.h"
#include "tests/support/allocationFailure.h"

#include <atomic>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <varnix/kit/fakeDatabase.h>
#include <varnix/kit/parameter.h>

namespace {

using namespace Varnix::Test;
using Varnix::Kit::FakeDatabase;
using Varnix::Kit::Parameter;

using Words = std::vector<std::string>;

/** Reads of a real handle. */
class Parameters : public ClientFixture
{
protected:
    static std::shared_ptr<const DatabaseIf> database()
    {
        return handle(DbBuilder()
                          .u32("/u32", {4294967295, 1})
                          .u16("/u16", {65535})
                          .u8("/u8", {255, 2, 3})
                          .s32("/s32", {-2147483648LL})
                          .s16("/s16", {-32768})
                          .s8("/s8", {-128})
                          .u16("/none", {1})
                          .u16("/none", {})
                          .text("/text", "a text that is longer than its object"));
    }

    /** What making one complains of. */
    static std::string complaint(std::shared_ptr<const DatabaseIf> database, const std::string& key)
    {
        try {
            const Parameter<std::string> parameter(std::move(database), key);
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
        return "";
    }
};

TEST_F(Parameters, ASingleIntegerIsTheFirstElement)
{
    const auto db = database();
    EXPECT_EQ(Parameter<std::uint32_t>(db, "/u32").value(), 4294967295U);
    EXPECT_EQ(Parameter<std::uint16_t>(db, "/u16").value(), 65535);
    EXPECT_EQ(Parameter<std::uint8_t>(db, "/u8").value(), 255);
    EXPECT_EQ(Parameter<std::int32_t>(db, "/s32").value(), -2147483647 - 1);
    EXPECT_EQ(Parameter<std::int16_t>(db, "/s16").value(), -32768);
    EXPECT_EQ(Parameter<std::int8_t>(db, "/s8").value(), -128);
}

TEST_F(Parameters, ListsTextsAndWordsAreWhole)
{
    const auto db = database();
    EXPECT_EQ(Parameter<std::vector<std::uint8_t>>(db, "/u8").value(),
              (std::vector<std::uint8_t>{255, 2, 3}));
    EXPECT_EQ(Parameter<std::vector<std::uint16_t>>(db, "/none", {7}).value(),
              std::vector<std::uint16_t>{});
    EXPECT_EQ(Parameter<std::string>(db, "/text").value(), "a text that is longer than its object");
    EXPECT_EQ(Parameter<Words>(db, "/text").value().size(), 8u);
}

TEST_F(Parameters, WhatCannotBeReadIsTheFallback)
{
    const auto db = database();
    for (const std::string key : {"/absent", "/s8", "/none"})
        EXPECT_EQ(Parameter<std::uint16_t>(db, key, 7).value(), 7) << key;
    for (const std::string key : {"/absent", "/s8"}) {
        EXPECT_EQ(Parameter<std::uint16_t>(db, key).value(), 0);
        EXPECT_EQ(Parameter<std::string>(db, key, "fallback").value(), "fallback");
        EXPECT_EQ(Parameter<Words>(db, key, {"a", "b"}).value(), (Words{"a", "b"}));
        EXPECT_EQ(Parameter<std::vector<std::int32_t>>(db, key, {-1}).value(),
                  std::vector<std::int32_t>{-1});
    }
}

TEST_F(Parameters, AReadGivesTheInterfacesCodeAndLeavesTheOutputUnlessOk)
{
    const auto db = database();
    std::uint16_t number = 9;
    EXPECT_EQ(Parameter<std::uint16_t>(db, "/absent", 7).read(number), RetCode::KEY_NOT_FOUND);
    EXPECT_EQ(Parameter<std::uint16_t>(db, "/s8", 7).read(number), RetCode::TYPE_MISMATCH);
    EXPECT_EQ(Parameter<std::uint16_t>(db, "/none", 7).read(number), RetCode::TYPE_MISMATCH);
    EXPECT_EQ(number, 9);
    EXPECT_EQ(Parameter<std::uint16_t>(db, "/u16", 7).read(number), RetCode::OK);
    EXPECT_EQ(number, 65535);

    Words words{"before"};
    EXPECT_EQ(Parameter<Words>(db, "/absent").read(words), RetCode::KEY_NOT_FOUND);
    EXPECT_EQ(Parameter<Words>(db, "/s8").read(words), RetCode::TYPE_MISMATCH);
    EXPECT_EQ(words, Words{"before"});
    EXPECT_EQ(Parameter<Words>(db, "/text").read(words), RetCode::OK);
    EXPECT_EQ(words.size(), 8u);
}

TEST_F(Parameters, AWriteIsSeenByTheNextRead)
{
    const auto db = std::make_shared<FakeDatabase>();
    const Parameter<std::uint16_t> gain(db, "/gain", 7);
    EXPECT_EQ(gain.value(), 7);
    db->set("/gain", std::vector<std::uint16_t>{1, 2});
    EXPECT_EQ(gain.value(), 1);
    db->set("/gain", std::string("text"));
    EXPECT_EQ(gain.value(), 7);
}

TEST_F(Parameters, BadUseIsToldInASentence)
{
    const auto db = database();
    EXPECT_EQ(complaint(nullptr, "/key"),
              "the parameter \"/key\" has no database: the pointer to it is null");
    EXPECT_EQ(complaint(db, ""), "a parameter needs a key: this one is empty");
    EXPECT_EQ(complaint(db, "key"), "the parameter's key \"key\" does not begin with \"/\"");
    EXPECT_EQ(complaint(db, "/key"), "");
}

TEST_F(Parameters, TellsItsKeyAndItsFallback)
{
    const Parameter parameter(database(), "/key", std::uint8_t{7});
    EXPECT_EQ(parameter.key(), "/key");
    EXPECT_EQ(parameter.fallback(), 7);
}

TEST_F(Parameters, KeepsItsDatabase)
{
    std::optional<Parameter<std::uint16_t>> parameter;
    parameter.emplace(database(), "/u16");
    EXPECT_EQ(parameter->value(), 65535);
    const Parameter<std::uint16_t> copy = *parameter;
    parameter.reset();
    EXPECT_EQ(copy.value(), 65535);
}

TEST_F(Parameters, ASingleIntegerIsReadWithoutAllocation)
{
    const auto db = database();
    const Parameter<std::uint8_t> first(db, "/u8");
    const Parameter<std::uint8_t> absent(db, "/absent", 3);
    const Parameter<std::int8_t> other(db, "/s8");
    first.value();
    other.value();
    const AllocationCount count(Allocation::ANY);
    for (int round = 0; round < 10; ++round) {
        EXPECT_EQ(first.value(), 255);
        EXPECT_EQ(absent.value(), 3);
        EXPECT_EQ(other.value(), -128);
    }
    EXPECT_EQ(count.asked(), 0u);
}

TEST_F(Parameters, AListOrTextCostsTheAllocationOfItsOwnMemory)
{
    const auto db = database();
    const Parameter<std::vector<std::uint8_t>> list(db, "/u8");
    const Parameter<std::string> text(db, "/text");
    std::vector<std::uint8_t> listOutput;
    std::string textOutput;
    const auto allocationsOf = [](const auto& read) {
        read();
        const AllocationCount count(Allocation::ANY);
        read();
        return count.asked();
    };
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(list.value().size(), 3u); }), 1u);
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(text.value().size(), 37u); }), 1u);
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(list.read(listOutput), RetCode::OK); }), 0u);
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(text.read(textOutput), RetCode::OK); }), 0u);
}

/** A database that reads a parameter of its own in the middle of a read. */
class ReadingDatabase : public FakeDatabase
{
public:
    using FakeDatabase::get;
    explicit ReadingDatabase(Parameter<std::uint16_t> other) : m_other(std::move(other)) {}
    RetCode get(const std::string& key, std::vector<std::uint16_t>& values) const override
    {
        const RetCode code = FakeDatabase::get(key, values);
        static_cast<void>(m_other.value());
        return code;
    }

private:
    Parameter<std::uint16_t> m_other;
};

TEST_F(Parameters, ADatabaseMayReadAnotherParameterMeanwhile)
{
    const auto database =
        std::make_shared<ReadingDatabase>(Parameter<std::uint16_t>(Parameters::database(), "/u16"));
    database->set("/own", std::vector<std::uint16_t>{5, 6, 7});
    const Parameter<std::uint16_t> own(database, "/own");
    for (int round = 0; round < 3; ++round)
        EXPECT_EQ(own.value(), 5);
}

/** Reads when its thread ends, after what the thread used later has been destroyed. */
struct ReadAtEnd
{
    const Parameter<std::uint16_t>* parameter = nullptr;
    std::atomic<int>* seen = nullptr;
    ~ReadAtEnd()
    {
        if (parameter != nullptr)
            *seen = parameter->value();
    }
};

TEST_F(Parameters, IsReadToTheVeryEndOfAThread)
{
    const Parameter<std::uint16_t> parameter(database(), "/u16");
    std::atomic<int> seen{0};
    std::thread([&] {
        thread_local ReadAtEnd atEnd;
        atEnd.parameter = &parameter;
        atEnd.seen = &seen;
        parameter.value();
    }).join();
    EXPECT_EQ(seen, 65535);
}

TEST_F(Parameters, ThreadsReadThroughOneObject)
{
    const auto db = std::make_shared<FakeDatabase>();
    db->set("/gain", std::vector<std::uint16_t>{1, 1});
    const Parameter<std::uint16_t> gain(db, "/gain");
    const Parameter<std::vector<std::uint16_t>> gains(db, "/gain");
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 1000; ++round) {
                const std::uint16_t value = gain.value();
                wrong += value >= 1 && value <= 1000 && gains.value().size() == 2 ? 0 : 1;
            }
        });
    }
    for (std::uint16_t value = 1; value <= 1000; ++value)
        db->set("/gain", std::vector<std::uint16_t>{value, value});
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
