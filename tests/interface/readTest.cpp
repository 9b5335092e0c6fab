#include "clientFixture.h"
#include "everyRead.h"

namespace {

using namespace Varnix::Test;

class Read : public ClientFixture
{
};

TEST_F(Read, EveryTypeIsReadByItsOverload)
{
    const auto db = handle(everyType());
    ASSERT_NE(db, nullptr);
    expectElements<std::uint32_t>(*db, "/u32", {0, 4294967295});
    expectElements<std::uint16_t>(*db, "/u16", {0, 258, 65535});
    expectElements<std::uint8_t>(*db, "/u8", {0, 255});
    expectElements<std::int32_t>(*db, "/s32", {-2147483647 - 1, 2147483647, -1});
    expectElements<std::int16_t>(*db, "/s16", {-32768, 32767, -2});
    expectElements<std::int8_t>(*db, "/s8", {-128, 127});
    EXPECT_EQ(read<std::string>(*db, "/text", "before"),
              std::pair(RetCode::OK, std::string("  two  words ")));
    EXPECT_EQ(read(*db, "/text", std::vector<std::string>{"before"}),
              std::pair(RetCode::OK, std::vector<std::string>{"two", "words"}));
}

TEST_F(Read, EveryOtherOverloadIsATypeMismatch)
{
    const auto db = handle(everyType());
    ASSERT_NE(db, nullptr);
    const std::vector<std::string> keys = {"/u32", "/u16", "/u8", "/s32", "/s16", "/s8"};
    for (std::size_t i = 0; i < keys.size(); ++i)
        EXPECT_EQ(readAll(*db, keys[i]), okOnlyFrom({i})) << keys[i];
    EXPECT_EQ(readAll(*db, "/text"), okOnlyFrom({6, 7}));
}

TEST_F(Read, AbsentKeyIsNotFound)
{
    const auto db = handle(everyType());
    ASSERT_NE(db, nullptr);
    for (const std::string key : {"/absent", "", "/", "/U32", "/u32 ", "u32"})
        EXPECT_EQ(readAll(*db, key), RetCodes(8, RetCode::KEY_NOT_FOUND)) << key;
}

TEST_F(Read, KeyOfTheComponentAloneIsReadFromIt)
{
    const auto db = handle(DbBuilder().u16("/componentOnly", {7}));
    ASSERT_NE(db, nullptr);
    expectElements<std::uint16_t>(*db, "/componentOnly", {7});
}

TEST_F(Read, KeyOfProductionAloneIsReadFromIt)
{
    const auto db = handle(DbBuilder());
    ASSERT_NE(db, nullptr);
    expectElements<std::uint8_t>(*db, "/productionOnly", {1, 2});
}

TEST_F(Read, ProductionGoesFirstInEveryOverload)
{
    const auto db = handle(DbBuilder()
                               .u32("/first/u32", {2})
                               .u16("/first/u16", {2})
                               .u8("/first/u8", {2})
                               .s32("/first/s32", {2})
                               .s16("/first/s16", {2})
                               .s8("/first/s8", {2})
                               .text("/first/text", "of the component"));
    ASSERT_NE(db, nullptr);
    expectElements<std::uint32_t>(*db, "/first/u32", {1});
    expectElements<std::uint16_t>(*db, "/first/u16", {1});
    expectElements<std::uint8_t>(*db, "/first/u8", {1});
    expectElements<std::int32_t>(*db, "/first/s32", {1});
    expectElements<std::int16_t>(*db, "/first/s16", {1});
    expectElements<std::int8_t>(*db, "/first/s8", {1});
    EXPECT_EQ(read<std::string>(*db, "/first/text").second, "of production");
    EXPECT_EQ(read<std::vector<std::string>>(*db, "/first/text").second,
              (std::vector<std::string>{"of", "production"}));
}

TEST_F(Read, OtherTypeInProductionHidesTheComponents)
{
    const auto db = handle(DbBuilder().u8("/textInProduction", {1}));
    ASSERT_NE(db, nullptr);
    EXPECT_EQ(read<std::vector<std::uint8_t>>(*db, "/textInProduction").first,
              RetCode::TYPE_MISMATCH);
    EXPECT_EQ(read<std::string>(*db, "/textInProduction"),
              std::pair(RetCode::OK, std::string("production text")));
}

TEST_F(Read, FailedReadLeavesNumbersAndTextUntouched)
{
    const auto db = handle(everyType());
    ASSERT_NE(db, nullptr);
    for (const std::string key : {"/absent", "/s8"}) {
        EXPECT_EQ(read(*db, key, std::vector<std::uint16_t>{1, 2}).second,
                  (std::vector<std::uint16_t>{1, 2}));
        EXPECT_EQ(read(*db, key, std::string("before")).second, "before");
    }
}

TEST_F(Read, FailedReadEmptiesTheWords)
{
    const auto db = handle(everyType());
    ASSERT_NE(db, nullptr);
    for (const std::string key : {"/absent", "/s8"})
        EXPECT_EQ(read(*db, key, std::vector<std::string>{"before"}).second,
                  std::vector<std::string>{});
}

TEST_F(Read, TextKeepsItsNulBytes)
{
    const std::string value("a\0b\0", 4);
    const auto db = handle(DbBuilder().text("/text", value));
    ASSERT_NE(db, nullptr);
    EXPECT_EQ(read<std::string>(*db, "/text"), std::pair(RetCode::OK, value));
}

TEST_F(Read, CodesHaveTheirValues)
{
    EXPECT_EQ(static_cast<int>(DatabaseIf::RetCode::OK), 0);
    EXPECT_EQ(static_cast<int>(DatabaseIf::RetCode::KEY_NOT_FOUND), 1);
    EXPECT_EQ(static_cast<int>(DatabaseIf::RetCode::TYPE_MISMATCH), 2);
}

} // namespace
