/**
 * Both loaders and a store on any bytes: they accept exactly what the decoder does not refuse. All
 * that is accepted is read, and every read gives what the records say; what is not leaves nothing.
 */
#include "databaseImpl.h"
#include "dbfile/decoder.h"
#include "dbfile/types.h"
#include "memoryFile.h"
#include "target.h"

#include <map>
#include <string>
#include <vector>

namespace {

using namespace Varnix;
using Backend::DatabaseImpl;
using Backend::DbContainer;
using Fuzz::require;
using Result = DatabaseImpl::ResultCode;

struct Value
{
    std::uint8_t type = DbFile::undefinedType;
    std::string data{};
};

using Values = std::map<std::string, Value>;

/** What a store holds once the records have been put into it in order. */
Values valuesOf(const std::vector<DbFile::Record>& records)
{
    Values values;
    for (const DbFile::Record& record : records) {
        if (!record.key.starts_with('/') || record.type == DbFile::undefinedType)
            continue;
        Value& value = values[record.key];
        value.data = record.data;
        if (!record.data.empty())
            value.type = record.type;
    }
    return values;
}

/** The production loader would wait for ever for what such a header announces. */
bool endsBeforeItShould(std::string_view image)
{
    return image.size() >= DbFile::Format::headerSize &&
           image.size() < std::uint64_t{DbFile::lengthField(image)} + DbFile::Format::trailerSize;
}

template <typename T>
void checkNumbers(const DatabaseImpl& store, const std::string& key, const Value& value,
                  std::string_view typeName)
{
    const DbFile::Type& type = *DbFile::findType(typeName);
    const std::vector<T> before{T{1}, T{2}};
    std::vector<T> read = before;
    const Result result = store.get(key, read);
    if (value.type != type.number) {
        require(result == Result::WRONG_TYPE, "a read of another type is refused");
        require(read == before, "a refused read leaves its output alone");
        return;
    }
    require(result == Result::SUCCESS, "a read of the stored type succeeds");
    require(read.size() == value.data.size() / type.elementSize, "every whole element is read");
    for (std::size_t i = 0; i < read.size(); ++i)
        require(read[i] == DbFile::elementAt(value.data, type, i), "an element is as in the file");
}

void checkText(const DatabaseImpl& store, const std::string& key, const Value& value)
{
    std::string text = "before";
    std::vector<std::string> words{"before"};
    const Result result = store.get(key, text);
    require(store.get(key, words) == result, "text and words are answered alike");
    if (value.type != DbFile::charType) {
        require(result == Result::WRONG_TYPE && text == "before" && words.empty(),
                "a text read of another type is refused");
        return;
    }
    require(result == Result::SUCCESS && text == value.data, "a text is as in the file");
    std::string joined;
    for (const std::string& word : words) {
        require(!word.empty() && word.find(' ') == std::string::npos, "a word holds no blank");
        joined += word;
    }
    std::erase(text, ' ');
    require(joined == text, "the words are the text without its blanks");
}

void checkValue(const DatabaseImpl& store, const std::string& key, const Value& value)
{
    checkNumbers<unsigned char>(store, key, value, "U8");
    checkNumbers<signed char>(store, key, value, "S8");
    checkNumbers<unsigned short>(store, key, value, "U16");
    checkNumbers<short>(store, key, value, "S16");
    checkNumbers<unsigned int>(store, key, value, "U32");
    checkNumbers<int>(store, key, value, "S32");
    checkText(store, key, value);
}

void checkAbsent(const DatabaseImpl& store, const std::string& key)
{
    std::string text = "before";
    std::vector<int> numbers{7};
    require(store.get(key, text) == Result::NOT_FOUND && text == "before", "absent is not found");
    require(store.get(key, numbers) == Result::NOT_FOUND && numbers.size() == 1,
            "absent is not found");
}

void checkStore(DbContainer& container, const Values& values)
{
    DatabaseImpl store;
    require(store.populate(container), "a file that the decoder does not refuse is read");
    for (const auto& [key, value] : values) {
        checkValue(store, key, value);
        if (!values.contains(key + "x"))
            checkAbsent(store, key + "x");
    }
    if (!values.contains(""))
        checkAbsent(store, "");
}

/** Nothing of a file whose records cannot be read is stored, not even what precedes the bad one. */
void checkRefused(DbContainer& container, const Values& values)
{
    DatabaseImpl store;
    require(!store.populate(container), "a file that the decoder refuses is not read");
    for (const auto& [key, value] : values)
        checkAbsent(store, key);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view image = Fuzz::viewOf(data, size);
    static Fuzz::MemoryFile file;
    file.write(image);

    const bool isLoadable = DbFile::loadRefusals(image).empty();
    DbContainer software;
    require(software.loadSwDb(file.path()) == isLoadable, "the software loader's verdict");
    DbContainer production;
    if (!endsBeforeItShould(image))
        require(production.loadProductionDb(file.path()) == isLoadable,
                "the production loader's verdict");
    if (!isLoadable)
        return 0;

    const Values values = valuesOf(DbFile::readRecords(image));
    const bool isReadable = DbFile::refusals(image).empty();
    for (DbContainer* const container : {&software, &production})
        isReadable ? checkStore(*container, values) : checkRefused(*container, values);
    return 0;
}
