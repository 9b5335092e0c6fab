#include "tests/interface/clientFixture.h"
#include "tests/interface/everyRead.h"

#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <varnix/kit/fakeDatabase.h>

/** One set of rules for a real handle, whatever database serves the key, and for the fake. */
namespace {

using namespace Varnix::Test;
using Varnix::Kit::FakeDatabase;

/** The fake, told of the same records in the same order. */
class Fake
{
public:
    template <typename T>
    Fake& set(const std::string& key, const T& value)
    {
        m_database->set(key, value);
        return *this;
    }
    std::shared_ptr<const DatabaseIf> open() const { return m_database; }

private:
    std::shared_ptr<FakeDatabase> m_database = std::make_shared<FakeDatabase>();
};

/** Records of a database file. */
class Records
{
public:
    template <typename T>
    void add(const std::string& key, const std::vector<T>& values)
    {
        const std::vector<std::int64_t> wide(values.begin(), values.end());
        if constexpr (std::is_same_v<T, std::uint32_t>)
            m_builder.u32(key, wide);
        else if constexpr (std::is_same_v<T, std::uint16_t>)
            m_builder.u16(key, wide);
        else if constexpr (std::is_same_v<T, std::uint8_t>)
            m_builder.u8(key, wide);
        else if constexpr (std::is_same_v<T, std::int32_t>)
            m_builder.s32(key, wide);
        else if constexpr (std::is_same_v<T, std::int16_t>)
            m_builder.s16(key, wide);
        else
            m_builder.s8(key, wide);
    }
    void add(const std::string& key, const std::string& text) { m_builder.text(key, text); }

protected:
    DbBuilder m_builder;
};

/** A handle whose component database holds the records. */
class Component : public Records
{
public:
    template <typename T>
    Component& set(const std::string& key, const T& value)
    {
        add(key, value);
        return *this;
    }
    std::shared_ptr<const DatabaseIf> open() const
    {
        static int count = 0;
        const std::string name = "conformance" + std::to_string(++count);
        node().production(DbBuilder().text("/componentConfigId", "board_1"));
        const auto file = node().database(name + ".db", m_builder);
        return DbRegistryIf::getInstance().initDb(
            node().configuration(name + ".cfg", {{"board", "1", {file}}}));
    }

private:
    static const NodeDirectory& node()
    {
        static const NodeDirectory directory;
        ::setenv("VARNIX_ITC_DIR", (directory / "itc").c_str(), 1);
        return directory;
    }
};

/** A handle whose production database holds the records; each case in a process of its own. */
class Production : public Records
{
public:
    template <typename T>
    Production& set(const std::string& key, const T& value)
    {
        add(key, value);
        return *this;
    }
    std::shared_ptr<const DatabaseIf> open()
    {
        static const NodeDirectory node;
        ::setenv("VARNIX_ITC_DIR", (node / "itc").c_str(), 1);
        node.production(m_builder.text("/componentConfigId", "board_1"));
        return DbRegistryIf::getInstance().initDb(node.configuration("node.cfg", {}));
    }
};

template <typename Database>
class Conformance : public testing::Test
{
protected:
    Database m_records;
};

using Databases = testing::Types<Fake, Component, Production>;
TYPED_TEST_SUITE(Conformance, Databases);

template <typename Records>
auto everyType(Records& records)
{
    records.set("/u32", std::vector<std::uint32_t>{0, 4294967295U})
        .set("/u16", std::vector<std::uint16_t>{0, 65535})
        .set("/u8", std::vector<std::uint8_t>{0, 255})
        .set("/s32", std::vector<std::int32_t>{-2147483647 - 1, 2147483647})
        .set("/s16", std::vector<std::int16_t>{-32768, 32767})
        .set("/s8", std::vector<std::int8_t>{-128, 127})
        .set("/text", std::string("  two  words "));
    return records.open();
}

TYPED_TEST(Conformance, EveryTypeIsReadByItsOverload)
{
    const auto database = everyType(this->m_records);
    ASSERT_NE(database, nullptr);
    expectElements<std::uint32_t>(*database, "/u32", {0, 4294967295U});
    expectElements<std::uint16_t>(*database, "/u16", {0, 65535});
    expectElements<std::uint8_t>(*database, "/u8", {0, 255});
    expectElements<std::int32_t>(*database, "/s32", {-2147483647 - 1, 2147483647});
    expectElements<std::int16_t>(*database, "/s16", {-32768, 32767});
    expectElements<std::int8_t>(*database, "/s8", {-128, 127});
    EXPECT_EQ(read(*database, "/text", std::string("before")),
              std::pair(RetCode::OK, std::string("  two  words ")));
    EXPECT_EQ(read(*database, "/text", std::vector<std::string>{"before"}),
              std::pair(RetCode::OK, std::vector<std::string>{"two", "words"}));
}

TYPED_TEST(Conformance, EveryOtherOverloadIsATypeMismatch)
{
    const auto database = everyType(this->m_records);
    ASSERT_NE(database, nullptr);
    const std::vector<std::string> keys{"/u32", "/u16", "/u8", "/s32", "/s16", "/s8"};
    for (std::size_t i = 0; i < keys.size(); ++i)
        EXPECT_EQ(readAll(*database, keys[i]), okOnlyFrom({i})) << keys[i];
    EXPECT_EQ(readAll(*database, "/text"), okOnlyFrom({6, 7}));
}

TYPED_TEST(Conformance, AKeyIsComparedByteForByte)
{
    const auto database = everyType(this->m_records);
    ASSERT_NE(database, nullptr);
    for (const std::string key : {"/absent", "", "/", "/U32", "/u32 ", "u32", "/u3"})
        EXPECT_EQ(readAll(*database, key), RetCodes(8, RetCode::KEY_NOT_FOUND)) << key;
}

TYPED_TEST(Conformance, AFailedReadLeavesEveryOutputButWords)
{
    const auto database = everyType(this->m_records);
    ASSERT_NE(database, nullptr);
    for (const std::string key : {"/absent", "/s8"}) {
        EXPECT_EQ(read(*database, key, std::vector<std::uint32_t>{1, 2}).second,
                  (std::vector<std::uint32_t>{1, 2}));
        EXPECT_EQ(read(*database, key, std::vector<std::int16_t>{1, 2}).second,
                  (std::vector<std::int16_t>{1, 2}));
        EXPECT_EQ(read(*database, key, std::string("before")).second, "before");
        EXPECT_EQ(read(*database, key, std::vector<std::string>{"before"}).second,
                  std::vector<std::string>{});
    }
}

TYPED_TEST(Conformance, ANewKeyWithoutBytesIsATypeMismatchForEveryRead)
{
    this->m_records.set("/number", std::vector<std::uint16_t>{}).set("/text", std::string());
    const auto database = this->m_records.open();
    ASSERT_NE(database, nullptr);
    for (const std::string key : {"/number", "/text"})
        EXPECT_EQ(readAll(*database, key), okOnlyFrom({})) << key;
}

TYPED_TEST(Conformance, AValueThatIsReplacedByNoBytesKeepsItsType)
{
    this->m_records.set("/number", std::vector<std::uint16_t>{1, 2})
        .set("/number", std::vector<std::uint8_t>{})
        .set("/text", std::string("text"))
        .set("/text", std::string());
    const auto database = this->m_records.open();
    ASSERT_NE(database, nullptr);
    EXPECT_EQ(readAll(*database, "/number"), okOnlyFrom({1}));
    expectElements<std::uint16_t>(*database, "/number", {});
    EXPECT_EQ(read(*database, "/text", std::string("before")),
              std::pair(RetCode::OK, std::string()));
    EXPECT_EQ(read(*database, "/text", std::vector<std::string>{"before"}),
              std::pair(RetCode::OK, std::vector<std::string>{}));
}

TYPED_TEST(Conformance, TheLastValueOfAKeyCountsWithItsType)
{
    this->m_records.set("/key", std::vector<std::uint16_t>{1, 2})
        .set("/key", std::string("text"))
        .set("/key", std::vector<std::int8_t>{-1});
    const auto database = this->m_records.open();
    ASSERT_NE(database, nullptr);
    EXPECT_EQ(readAll(*database, "/key"), okOnlyFrom({5}));
    expectElements<std::int8_t>(*database, "/key", {-1});
}

TYPED_TEST(Conformance, WordsAreWhatIsBetweenBlanksAlone)
{
    const std::vector<std::pair<std::string, std::vector<std::string>>> texts{
        {"a", {"a"}},
        {" ", {}},
        {"   ", {}},
        {"a b", {"a", "b"}},
        {"  a  b c ", {"a", "b", "c"}},
        {"a\tb\nc d", {"a\tb\nc", "d"}},
        {std::string("a\0b c\0", 6), {std::string("a\0b", 3), std::string("c\0", 2)}}};
    for (std::size_t i = 0; i < texts.size(); ++i)
        this->m_records.set("/text" + std::to_string(i), texts[i].first);
    const auto database = this->m_records.open();
    ASSERT_NE(database, nullptr);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const std::string key = "/text" + std::to_string(i);
        EXPECT_EQ(read(*database, key, std::vector<std::string>{"before"}),
                  std::pair(RetCode::OK, texts[i].second));
        EXPECT_EQ(read(*database, key, std::string("before")),
                  std::pair(RetCode::OK, texts[i].first));
    }
}

} // namespace
