#include "storeTest.h"
#include "tests/support/allocationFailure.h"

#include <atomic>
#include <thread>

namespace Varnix::Backend {
namespace {

using Test::Allocation;
using Test::AllocationFailure;
using Words = std::vector<std::string>;

constexpr auto found = ResultCode::SUCCESS;
constexpr auto absent = ResultCode::NOT_FOUND;
constexpr auto wrong = ResultCode::WRONG_TYPE;

const std::vector<ResultCode> allWrong(8, wrong);
const std::vector<ResultCode> allAbsent(8, absent);

class StoreReads : public StoreTest
{
};

TEST_F(StoreReads, HaveResultCodesOfFixedValues)
{
    EXPECT_EQ(static_cast<int>(found), 0);
    EXPECT_EQ(static_cast<int>(absent), 1);
    EXPECT_EQ(static_cast<int>(wrong), 2);
}

TEST_F(StoreReads, ConvertBigEndianElements)
{
    populate(DbBuilder()
                 .record({.key = "/u8", .type = 2, .data = {"\x00\x7F\x80\xFF", 4}})
                 .record({.key = "/s8", .type = 3, .data = {"\x00\x7F\x80\xFF", 4}})
                 .record({.key = "/u16", .type = 4, .data = "\x01\x02\xFF\xFE"})
                 .record({.key = "/s16", .type = 5, .data = "\xFF\xFE"})
                 .record({.key = "/u32", .type = 6, .data = {"\0\0\0\x01\xFF\xFF\xFF\xFE", 8}})
                 .record({.key = "/s32", .type = 7, .data = {"\x80\0\0\0\xFF\xFF\xFF\xFE", 8}}));

    EXPECT_EQ(numbers<unsigned char>("/u8"), (std::vector<unsigned char>{0, 127, 128, 255}));
    EXPECT_EQ(numbers<signed char>("/s8"), (std::vector<signed char>{0, 127, -128, -1}));
    EXPECT_EQ(numbers<unsigned short>("/u16"), (std::vector<unsigned short>{0x0102, 0xFFFE}));
    EXPECT_EQ(numbers<short>("/s16"), (std::vector<short>{-2}));
    EXPECT_EQ(numbers<unsigned int>("/u32"), (std::vector<unsigned int>{1, 4294967294U}));
    EXPECT_EQ(numbers<int>("/s32"), (std::vector<int>{-2147483647 - 1, -2}));
}

TEST_F(StoreReads, ServeOneTypeEach)
{
    const std::string eightBytes(8, 'x');
    DbBuilder file;
    for (std::uint8_t type = 1; type <= 12; ++type)
        file.record({.key = "/" + std::to_string(type), .type = type, .data = eightBytes});
    populate(file.record({.key = "/255", .type = 255, .data = eightBytes}));

    EXPECT_THAT(everyResultOf("/6"),
                ElementsAre(found, wrong, wrong, wrong, wrong, wrong, wrong, wrong));
    EXPECT_THAT(everyResultOf("/4"),
                ElementsAre(wrong, found, wrong, wrong, wrong, wrong, wrong, wrong));
    EXPECT_THAT(everyResultOf("/2"),
                ElementsAre(wrong, wrong, found, wrong, wrong, wrong, wrong, wrong));
    EXPECT_THAT(everyResultOf("/7"),
                ElementsAre(wrong, wrong, wrong, found, wrong, wrong, wrong, wrong));
    EXPECT_THAT(everyResultOf("/5"),
                ElementsAre(wrong, wrong, wrong, wrong, found, wrong, wrong, wrong));
    EXPECT_THAT(everyResultOf("/3"),
                ElementsAre(wrong, wrong, wrong, wrong, wrong, found, wrong, wrong));
    EXPECT_THAT(everyResultOf("/10"),
                ElementsAre(wrong, wrong, wrong, wrong, wrong, wrong, found, found));
    for (const char* const unnamed : {"/1", "/8", "/9", "/11", "/12", "/255"})
        EXPECT_EQ(everyResultOf(unnamed), allWrong) << unnamed;
}

TEST_F(StoreReads, AnswerNotFoundForKeysThatDifferInAnyByte)
{
    populate(DbBuilder().u8("/unit/gain", {1}));
    EXPECT_EQ(resultOf<std::vector<unsigned char>>("/unit/gain"), found);
    for (const char* const other :
         {"/unit/Gain", "/unit/gai", "/unit/gain ", "unit/gain", "", "/", "/unit"})
        EXPECT_EQ(everyResultOf(other), allAbsent) << other;
    EXPECT_EQ(everyResultOf(std::string_view("/unit/gain\0", 11)), allAbsent);
}

TEST_F(StoreReads, ReportNothing)
{
    populate(DbBuilder().u8("/a", {1}));
    listen();
    everyResultOf("/a");
    everyResultOf("/b");
    EXPECT_THAT(heard(), IsEmpty());
}

TEST_F(StoreReads, LeaveTheOutputUntouchedUnlessTheySucceed)
{
    populate(DbBuilder().u16("/u16", {1}));
    for (const char* const key : {"/u16", "/absent"}) {
        std::vector<unsigned char> values{7, 8};
        EXPECT_NE(store.get(key, values), found);
        EXPECT_THAT(values, ElementsAre(7, 8));
        std::string text = "old";
        EXPECT_NE(store.get(key, text), found);
        EXPECT_EQ(text, "old");
    }
}

TEST_F(StoreReads, OfWordsEmptyTheOutputEvenWhenTheyFail)
{
    populate(DbBuilder().u16("/u16", {1}));
    Words words{"old"};
    EXPECT_EQ(store.get("/absent", words), absent);
    EXPECT_THAT(words, IsEmpty());
    words = {"old"};
    EXPECT_EQ(store.get("/u16", words), wrong);
    EXPECT_THAT(words, IsEmpty());
}

TEST_F(StoreReads, ReplaceTheWholeOutput)
{
    populate(DbBuilder().u32("/one", {7}).u32("/three", {1, 2, 3}).text("/text", "new words"));
    std::vector<unsigned int> values{9, 9};
    EXPECT_EQ(store.get("/one", values), found);
    EXPECT_THAT(values, ElementsAre(7));
    EXPECT_EQ(store.get("/three", values), found);
    EXPECT_THAT(values, ElementsAre(1, 2, 3));
    Words words{"old", "older", "oldest"};
    EXPECT_EQ(store.get("/text", words), found);
    EXPECT_THAT(words, ElementsAre("new", "words"));
    std::string text = "an old text that is longer";
    EXPECT_EQ(store.get("/text", text), found);
    EXPECT_EQ(text, "new words");
}

TEST_F(StoreReads, IgnoreTrailingBytesThatFillNoElement)
{
    populate(DbBuilder()
                 .record({.key = "/five", .type = 4, .data = {"\0\x01\0\x02\x7F", 5}})
                 .record({.key = "/three", .type = 6, .data = "abc"})
                 .record({.key = "/seven",
                          .type = 7,
                          .data = {"\0\0\0\x09"
                                   "abc",
                                   7}}));
    EXPECT_EQ(numbers<unsigned short>("/five"), (std::vector<unsigned short>{1, 2}));
    EXPECT_EQ(numbers<unsigned int>("/three"), std::vector<unsigned int>());
    EXPECT_EQ(numbers<int>("/seven"), (std::vector<int>{9}));
}

TEST_F(StoreReads, OfTextGiveEveryByte)
{
    const std::string bytes("a\0b\xFF\n \"", 7);
    populate(DbBuilder().text("/text", bytes));
    EXPECT_EQ(text("/text"), bytes);
}

TEST_F(StoreReads, OfWordsSplitAtBlanksOnly)
{
    const std::string spaced = "a  b c ";
    populate(DbBuilder()
                 .text("/spaced", spaced)
                 .text("/blanks", "   ")
                 .text("/led", "  word")
                 .text("/tabs", "a\tb\nc"));
    EXPECT_EQ(words("/spaced"), (Words{"a", "b", "c"}));
    EXPECT_EQ(text("/spaced"), spaced);
    EXPECT_EQ(words("/blanks"), Words());
    EXPECT_EQ(words("/led"), Words{"word"});
    EXPECT_EQ(words("/tabs"), Words{"a\tb\nc"});
}

TEST_F(StoreReads, ReleaseTheStoreWhenMemoryRunsOut)
{
    populate(DbBuilder().u32("/numbers", {1, 2, 3}).text("/text", std::string(100, 'x')));
    std::vector<unsigned int> values;
    std::string text;
    {
        const AllocationFailure failure(Allocation::THROWING);
        EXPECT_THROW(store.get("/numbers", values), std::bad_alloc);
        EXPECT_THROW(store.get("/text", text), std::bad_alloc);
    }
    store.updateDb("/numbers", Values{4}, 1); // would wait for ever for a reader left inside
    EXPECT_EQ(store.get("/numbers", values), found);
    EXPECT_THAT(values, ElementsAre(1, 4, 3));
}

TEST(ReadStringParam, CopiesTheTextOfAnEntryAndOfNoOther)
{
    DatabaseImpl::ParamTable table;
    unsigned char bytes[] = {'a', '\0', 'b'};
    table.findOrInsert("/text") = {{bytes, 3, TypeOfData_t::CHAR}};
    table.findOrInsert("/u8") = {{bytes, 3, TypeOfData_t::U8}};
    const DatabaseImpl store;
    std::string text = "before";
    EXPECT_FALSE(store.readStringParam(table.find("/u8"), text));
    EXPECT_EQ(text, "before");
    EXPECT_TRUE(store.readStringParam(table.find("/text"), text));
    EXPECT_EQ(text, std::string("a\0b", 3));
}

TEST_F(StoreReads, RunInAnyNumberOfThreadsBesideAWriter)
{
    populate(DbBuilder().u32("/pair", {0, 0}).text("/text", "aaaa"));
    std::atomic<bool> done{false};
    std::atomic<int> torn{0};
    std::atomic<int> begun{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&] {
            std::vector<unsigned int> pair;
            std::string text;
            ++begun;
            while (!done) {
                const bool read =
                    store.get("/pair", pair) == found && store.get("/text", text) == found;
                const bool whole = read && pair.size() == 2 && pair[0] == pair[1] &&
                                   text.find_first_not_of(text[0]) == std::string::npos;
                torn += whole ? 0 : 1;
            }
        });
    }
    while (begun < 4)
        std::this_thread::yield();
    for (std::int64_t i = 1; i <= 2000; ++i) {
        store.updateDb("/pair", Values{i, i}, 0);
        const auto letter = static_cast<char>('a' + i % 26);
        store.updateDb("/text", std::string(static_cast<std::size_t>(1 + i % 40), letter), false);
    }
    done = true;
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(numbers<unsigned int>("/pair"), (std::vector<unsigned int>{2000, 2000}));
}

} // namespace
} // namespace Varnix::Backend
