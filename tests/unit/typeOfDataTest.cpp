#include "typeOfData.h"

#include "storeTest.h"

#include <limits>
#include <sstream>

namespace Varnix::Backend {
namespace {

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();

constexpr TypeOfData_t type(int number)
{
    return static_cast<TypeOfData_t>(number);
}

std::string printed(TypeOfData_t value)
{
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

struct NamedType
{
    TypeOfData_t type;
    int number;
    std::string name;
    unsigned int size;
};

const NamedType namedTypesOfTheFormat[] = {
    {TypeOfData_t::UNDEFINED, 0, "UNDEFINED", 0},
    {TypeOfData_t::U8, 2, "U8", 1},
    {TypeOfData_t::S8, 3, "S8", 1},
    {TypeOfData_t::U16, 4, "U16", 2},
    {TypeOfData_t::S16, 5, "S16", 2},
    {TypeOfData_t::U32, 6, "U32", 4},
    {TypeOfData_t::S32, 7, "S32", 4},
    {TypeOfData_t::CHAR, 10, "CHAR", 1},
};

struct Range
{
    TypeOfData_t type;
    std::int64_t min;
    std::int64_t max;
};

const Range ranges[] = {
    {TypeOfData_t::U8, 0, 255},         {TypeOfData_t::S8, -128, 127},
    {TypeOfData_t::U16, 0, 65535},      {TypeOfData_t::S16, -32768, 32767},
    {TypeOfData_t::U32, 0, 4294967295}, {TypeOfData_t::S32, -2147483648, 2147483647},
};

class TypeOfData : public StoreTest
{
};

TEST_F(TypeOfData, OfElementsThatNoNamedTypeHasIsUndefined)
{
    EXPECT_EQ(typeOfElement<std::int64_t>(), TypeOfData_t::UNDEFINED);
    EXPECT_EQ(typeOfElement<std::uint64_t>(), TypeOfData_t::UNDEFINED);
}

TEST_F(TypeOfData, TakesOneByte)
{
    EXPECT_EQ(sizeof(TypeOfData_t), 1U);
}

TEST_F(TypeOfData, HasTheNumbersAndNamesOfTheFileFormat)
{
    for (const NamedType& named : namedTypesOfTheFormat) {
        EXPECT_EQ(named.type, type(named.number));
        EXPECT_EQ(printed(named.type), named.name);
    }
}

TEST_F(TypeOfData, WithoutANamePrintsItsByteAsACharacter)
{
    EXPECT_EQ(printed(type(9)), "INVALID_VALUE(\t)");
    EXPECT_EQ(printed(type(1)), "INVALID_VALUE(\x01)");
    EXPECT_EQ(printed(type(8)), "INVALID_VALUE(\b)");
    EXPECT_EQ(printed(type('A')), "INVALID_VALUE(A)");
    EXPECT_EQ(printed(type(255)), "INVALID_VALUE(\xFF)");
}

TEST_F(TypeOfData, IsPrintedWithoutAStreamsWidthOrBaseInTheWay)
{
    std::ostringstream stream;
    stream << std::hex << TypeOfData_t::U16 << type('A');
    EXPECT_EQ(stream.str(), "U16INVALID_VALUE(A)");
}

TEST_F(TypeOfData, NamesComeFromTheMapThatIsGiven)
{
    enum class Fruit : unsigned char
    {
        APPLE,
        PEAR = 'p'
    };
    const std::map<Fruit, const char*> names{{Fruit::APPLE, "apple"}};
    std::ostringstream stream;
    streamEnum(stream, Fruit::APPLE, names) << ' ';
    streamEnum(stream, Fruit::PEAR, names);
    EXPECT_EQ(stream.str(), "apple INVALID_VALUE(p)");
}

TEST_F(TypeOfData, WithElementsHasTheirSizeAndReportsNothing)
{
    listen();
    for (const NamedType& named : namedTypesOfTheFormat) {
        if (named.size == 0)
            continue;
        EXPECT_EQ(store.sizeofDatatype(named.type), named.size) << named.name;
    }
    EXPECT_THAT(heard(), IsEmpty());
}

TEST_F(TypeOfData, WithoutElementsHasSizeZeroAndReportsItsRawByte)
{
    for (const int number : {0, 1, 8, 9, 11, 12, 65, 200, 255}) {
        listen();
        EXPECT_EQ(store.sizeofDatatype(type(number)), 0U);
        // A trace string ends at its NUL, and so does the message about type 0.
        const std::string rest =
            number == 0 ? ""
                        : static_cast<char>(number) +
                              std::string(". Hence, the size will be returned as zero.");
        EXPECT_THAT(heard(),
                    ElementsAre(storeError("Data type enum (TypeOfData_t) value equals: ", rest)))
            << number;
    }
}

TEST_F(TypeOfData, HoldsTheIntegersOfItsRangeAndNoOther)
{
    for (const auto& [type, min, max] : ranges) {
        for (const std::int64_t value : {min, max, std::int64_t{0}, min + 1, max - 1})
            EXPECT_TRUE(store.fitsInDataType(value, type)) << type << ' ' << value;
        for (const std::int64_t value : {min - 1, max + 1, lowest, highest, lowest - min,
                                         std::int64_t{1} << 32, -(std::int64_t{1} << 32)})
            EXPECT_FALSE(store.fitsInDataType(value, type)) << type << ' ' << value;
    }
}

TEST_F(TypeOfData, WithoutIntegersHoldsNoneAndReportsNothing)
{
    listen();
    for (const int number : {0, 1, 8, 9, 10, 11, 12, 65, 255})
        for (const std::int64_t value :
             {std::int64_t{0}, std::int64_t{1}, std::int64_t{-1}, lowest, highest})
            EXPECT_FALSE(store.fitsInDataType(value, type(number))) << number << ' ' << value;
    EXPECT_THAT(heard(), IsEmpty());
}

} // namespace
} // namespace Varnix::Backend
