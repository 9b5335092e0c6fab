#include "loaderTest.h"

#include <string_view>

namespace Varnix::Backend {
namespace {

class DbIterator : public LoaderTest
{
protected:
    void load(const std::string& image)
    {
        write(image);
        ASSERT_TRUE(container.loadSwDb(path));
    }

    void load(const DbBuilder& file) { load(file.image()); }
};

/** The bytes of a decoded record, while its container lives. */
std::string dataOf(const DbRecord& record)
{
    return {reinterpret_cast<const char*>(record.data), record.length};
}

auto decoded(const std::string& key, int type, const std::string& data)
{
    return AllOf(Field("key", &DbRecord::key, key),
                 Field("type", &DbRecord::type, static_cast<TypeOfData_t>(type)),
                 testing::ResultOf("data", dataOf, data));
}

auto undefined(const std::string& key, std::uint32_t length)
{
    return AllOf(
        Field("key", &DbRecord::key, key), Field("type", &DbRecord::type, TypeOfData_t::UNDEFINED),
        Field("data", &DbRecord::data, nullptr), Field("length", &DbRecord::length, length));
}

TEST_F(DbIterator, OfANewContainerIsAtItsEnd)
{
    EXPECT_TRUE(DbContainer::iterator::begin(&container) == DbContainer::iterator::end(&container));
    EXPECT_THAT(walk(), IsEmpty());
}

TEST_F(DbIterator, DecodesKeyTypeLengthAndData)
{
    load(DbBuilder()
             .record({.key = "/u32", .type = 6, .data = std::string("\0\0\0\1\0\0\0\2", 8)})
             .text("/empty", "")
             .record({.key = "/unnamed", .type = 200, .data = "xyz"}));
    EXPECT_THAT(walk(), ElementsAre(decoded("/u32", 6, std::string("\0\0\0\1\0\0\0\2", 8)),
                                    decoded("/empty", 10, ""), decoded("/unnamed", 200, "xyz")));
}

TEST_F(DbIterator, ReadsTheLengthFromTheLow24Bits)
{
    const std::string data(0x012345, 'd');
    load(DbBuilder().text("/long", data).u8("/after", {1}));
    EXPECT_THAT(walk(), ElementsAre(decoded("/long", 10, data), decoded("/after", 2, "\x01")));
}

TEST_F(DbIterator, DecodesWhatTheWordsOfTheFormatSay)
{
    // The bytes of a file, written out: a word of 0x06000008 and one of 0x0A000000.
    std::string image = std::string("H\x04\0\0\0\0\0\0\0\x26", 10) +
                        std::string("F/n\0\x06\0\0\x08\0\0\0\x01\xFF\xFF\xFF\xFE", 16) +
                        std::string("F/empty\0\x0A\0\0\0", 12) + std::string(14, '\0');
    repairChecksum(image);
    load(image);
    auto it = DbContainer::iterator::begin(&container);
    EXPECT_THAT(*it, decoded("/n", 6, std::string("\0\0\0\x01\xFF\xFF\xFF\xFE", 8)));
    ++it;
    EXPECT_THAT(*it, decoded("/empty", 10, ""));
}

TEST_F(DbIterator, ComparesContainersAndPositions)
{
    load(DbBuilder().u8("/a", {1}).u8("/b", {2}));
    auto it = DbContainer::iterator::begin(&container);
    EXPECT_TRUE(it == DbContainer::iterator::begin(&container));
    EXPECT_TRUE(it != DbContainer::iterator::end(&container));
    const auto stepped = ++it;
    EXPECT_TRUE(stepped == it);
    EXPECT_FALSE(it == DbContainer::iterator::begin(&container));

    DbContainer other;
    ASSERT_TRUE(other.loadSwDb(path));
    EXPECT_TRUE(DbContainer::iterator::begin(&other) != DbContainer::iterator::begin(&container));
    EXPECT_FALSE(DbContainer::iterator::end(&other) == DbContainer::iterator::end(&container));
}

TEST_F(DbIterator, ReportsAKeyWithoutSlashAsUndefinedAndStepsOverItsData)
{
    load(DbBuilder().record({.key = "abc", .type = 2, .data = "F/x"}).u8("/after", {1}));
    EXPECT_THAT(walk(), ElementsAre(undefined("abc", 3), decoded("/after", 2, "\x01")));
}

TEST_F(DbIterator, CutsAKeyWithoutSlashTo128Characters)
{
    const std::string longKey = std::string(128, 'k') + std::string(172, 'z');
    load(DbBuilder()
             .record({.key = longKey, .type = 2, .data = "x"})
             .record({.key = std::string(128, 'k'), .type = 2})
             .record({.key = "/" + longKey, .type = 2, .data = "y"}));
    EXPECT_THAT(walk(),
                ElementsAre(undefined(std::string(128, 'k'), 1),
                            undefined(std::string(128, 'k'), 0), decoded("/" + longKey, 2, "y")));
}

TEST_F(DbIterator, DecodesARecordOfAnotherTagAsTheLast)
{
    load(DbBuilder()
             .record({.tag = 'G', .key = "/first", .type = 2, .data = "x"})
             .u8("/never", {1}));
    EXPECT_THAT(walk(), ElementsAre(decoded("/first", 2, "x")));
}

TEST_F(DbIterator, StopsBehindARecordOfAnotherTagInTheMiddle)
{
    load(DbBuilder()
             .u8("/a", {1})
             .record({.tag = 'f', .key = "/b", .type = 2, .data = "x"})
             .u8("/never", {1}));
    EXPECT_THAT(walk(), ElementsAre(decoded("/a", 2, "\x01"), decoded("/b", 2, "x")));
}

TEST_F(DbIterator, ReadsARecordThatStartsBeforeTheEndWhole)
{
    const std::string image = DbBuilder().u8("/a", {1}).text("/b", "whole").image();
    const std::size_t startOfB = 10 + 3 + 5 + 1;
    load(claiming(static_cast<std::uint32_t>(startOfB) + 1, image));
    EXPECT_THAT(walk(), ElementsAre(decoded("/a", 2, "\x01"), decoded("/b", 10, "whole")));
}

TEST_F(DbIterator, DoesNotReadARecordThatStartsAtTheEnd)
{
    const std::string image = DbBuilder().u8("/a", {1}).text("/b", "whole").image();
    const std::size_t startOfB = 10 + 3 + 5 + 1;
    load(claiming(static_cast<std::uint32_t>(startOfB), image));
    EXPECT_THAT(walk(), ElementsAre(decoded("/a", 2, "\x01")));
}

TEST_F(DbIterator, IsClampedToTheEndByALengthThatStepsFarPastIt)
{
    // The record's data is not touched by the walk, so it need not be there.
    std::string image = DbBuilder().record({.key = "abc", .type = 2, .data = "x"}).image();
    image.replace(10 + 5 + 1, 3, "\xFF\xFF\xFF");
    repairChecksum(image);
    load(image);
    EXPECT_THAT(walk(), ElementsAre(undefined("abc", 0xFFFFFF)));
}

TEST_F(DbIterator, FindsNoRecordsInAnImageWhoseLengthIsTen)
{
    const std::string image = DbBuilder().image();
    ASSERT_EQ(image.size(), 24U);
    load(image);
    EXPECT_THAT(walk(), IsEmpty());
}

TEST_F(DbIterator, FindsNoRecordsInAnImageWhoseLengthIsBelowTen)
{
    const std::string image = DbBuilder().u8("/a", {1}).image();
    for (std::uint32_t length = 0; length < 10; ++length) {
        write(claiming(length, image));
        DbContainer shortImage;
        ASSERT_TRUE(shortImage.loadSwDb(path)) << length;
        EXPECT_TRUE(DbContainer::iterator::begin(&shortImage) ==
                    DbContainer::iterator::end(&shortImage))
            << length;
    }
}

} // namespace
} // namespace Varnix::Backend
