#include "dbfile/comparison.h"
#include "dbfile/types.h"
#include "storeTest.h"

#include <cstddef>

namespace Varnix::Backend {
namespace {

using DbFile::Record;
using DbFile::Value;
using Records = std::vector<Record>;

const std::string key = "/a";

/** Each type with each data. */
Records recordsOf(std::initializer_list<std::uint8_t> types,
                  std::initializer_list<const char*> data)
{
    Records records;
    for (const std::uint8_t type : types)
        for (const char* const bytes : data)
            records.push_back({.key = key, .type = type, .data = bytes});
    return records;
}

/** Every sequence of at most `most` of the records. */
std::vector<Records> sequencesOf(const Records& records, std::size_t most)
{
    std::vector<Records> sequences{{}};
    for (std::size_t begin = 0; most > 0; --most) {
        const std::size_t end = sequences.size();
        for (; begin < end; ++begin)
            for (const Record& record : records) {
                sequences.push_back(sequences[begin]);
                sequences.back().push_back(record);
            }
    }
    return sequences;
}

/** What a client finds for the key: nothing, an empty value of type 0 that no read accepts, or one.
 */
using Found = std::optional<Value>;

class StoreAgreement : public StoreTest
{
protected:
    /** What the library's own store gives. */
    Found inLibrary(const std::vector<Records>& files)
    {
        DatabaseImpl client;
        for (const Records& records : files) {
            DbBuilder builder;
            for (const Record& record : records)
                builder.record(record);
            EXPECT_TRUE(populate(client, builder));
        }
        std::string text;
        if (const ResultCode result = client.get(key, text); result == ResultCode::NOT_FOUND)
            return std::nullopt;
        else if (result == ResultCode::SUCCESS)
            return Value{DbFile::charType, text};
        Value value;
        tryRead<std::uint8_t>(client, "U8", value);
        tryRead<std::int8_t>(client, "S8", value);
        tryRead<std::uint16_t>(client, "U16", value);
        tryRead<std::int16_t>(client, "S16", value);
        tryRead<std::uint32_t>(client, "U32", value);
        tryRead<std::int32_t>(client, "S32", value);
        return value;
    }

    /** What the tools say of it, without the part of an element that no read gives. */
    static Found inTools(const std::vector<Records>& files)
    {
        DbFile::Store tools;
        for (const Records& records : files)
            tools.populate(records);
        const DbFile::StoredValue* const found = tools.find(key);
        if (found == nullptr)
            return std::nullopt;
        Value value = found->value;
        const DbFile::Type* const type = DbFile::findType(value.type);
        if (type == nullptr)
            return Value{};
        value.data.resize(value.data.size() / type->elementSize * type->elementSize);
        return value;
    }

private:
    template <typename Element>
    static void tryRead(const DatabaseImpl& client, std::string_view name, Value& value)
    {
        std::vector<Element> elements;
        if (client.get(key, elements) != ResultCode::SUCCESS)
            return;
        const DbFile::Type& type = *DbFile::findType(name);
        value.type = type.number;
        for (const Element element : elements)
            DbFile::appendElement(value.data, type, element);
    }
};

std::string textOf(const Records& records)
{
    std::string text;
    for (const Record& record : records)
        text.append(" type " + std::to_string(record.type) + " \"" + record.data + '"');
    return text;
}

TEST(TypeAgreement, ToolsHaveTheTypesOfTheLibrary)
{
    std::size_t named = 0;
    for (const TypeInfo& info : namedTypes) {
        if (info.type == TypeOfData_t::UNDEFINED)
            continue;
        ++named;
        const DbFile::Type* const type = DbFile::findType(info.name);
        ASSERT_NE(type, nullptr) << info.name;
        EXPECT_EQ(type->number, static_cast<std::uint8_t>(info.type)) << info.name;
        EXPECT_EQ(type->elementSize, info.elementSize) << info.name;
        if (info.isInteger()) {
            EXPECT_EQ(type->min, info.min) << info.name;
            EXPECT_EQ(type->max, info.max) << info.name;
        }
    }
    EXPECT_EQ(named, DbFile::namedTypes.size());
}

TEST_F(StoreAgreement, ToolsFindInFilesWhatTheLibraryFinds)
{
    const Records records = recordsOf({0, 4, 9, 10}, {"", "xyz"});
    for (const Records& first : sequencesOf(records, 2))
        for (const Records& second : sequencesOf(records, 1))
            ASSERT_EQ(inTools({first, second}), inLibrary({first, second}))
                << "first file:" << textOf(first) << ", second file:" << textOf(second);
}

TEST_F(StoreAgreement, DatabasesDifferWhereAClientFindsSomethingElse)
{
    const std::vector<Records> files = sequencesOf(recordsOf({0, 2, 10}, {"", "x"}), 2);
    std::vector<Found> found;
    for (const Records& file : files)
        found.push_back(inLibrary({file}));
    for (std::size_t i = 0; i < files.size(); ++i)
        for (std::size_t j = 0; j < files.size(); ++j)
            ASSERT_EQ(differences(files[i], files[j]).empty(), found[i] == found[j])
                << "first file:" << textOf(files[i]) << ", second file:" << textOf(files[j]);
}

} // namespace
} // namespace Varnix::Backend
