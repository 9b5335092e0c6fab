#include "loaderTest.h"
#include "tests/support/countOf.h"

#include <fstream>
#include <map>
#include <variant>

namespace Varnix::Backend {
namespace {

using Value = std::variant<std::monostate, std::vector<unsigned int>, std::vector<unsigned short>,
                           std::vector<unsigned char>, std::vector<int>, std::vector<short>,
                           std::vector<signed char>, std::string>;

/** One-byte changes and truncations of small files, loaded and read in every way. */
class Corruption : public LoaderTest
{
protected:
    /** What a load of the file's present content gives to a reader, or nothing if it is refused. */
    template <typename Load>
    std::optional<std::vector<Value>> contentAfter(const Load& load) const
    {
        DbContainer loaded;
        DatabaseImpl filled;
        if (!load(loaded) || !filled.populate(loaded))
            return std::nullopt;
        std::vector<Value> content;
        for (const char* const key : {"/u8", "/s8", "/u16", "/s16", "/u32", "/s32", "/text"})
            content.push_back(valueOf(filled, key));
        return content;
    }

    std::optional<std::vector<Value>> softwareContent() const
    {
        return contentAfter([&](DbContainer& loaded) { return loaded.loadSwDb(path); });
    }

    std::optional<std::vector<Value>> productionContent() const
    {
        return contentAfter([&](DbContainer& loaded) { return loaded.loadProductionDb(path); });
    }

    void change(std::size_t offset, char value)
    {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(offset)).put(value);
        ASSERT_TRUE(file.flush());
    }

    /** The bytes that a file could have at `offset` instead of its own, or a share of them. */
    static std::string otherValues(const std::string& image, std::size_t offset)
    {
        using Varnix::Test::everyNth;
        std::string values;
        for (unsigned value = 0; value < 256; value += everyNth())
            if (static_cast<char>(value) != image[offset])
                values += static_cast<char>(value);
        return values;
    }

private:
    template <typename T>
    static bool read(const DatabaseImpl& filled, const char* key, Value& value)
    {
        T read;
        const bool found = filled.get(key, read) == ResultCode::SUCCESS;
        if (found)
            value = read;
        return found;
    }

    static Value valueOf(const DatabaseImpl& filled, const char* key)
    {
        Value value;
        read<std::vector<unsigned int>>(filled, key, value) ||
            read<std::vector<unsigned short>>(filled, key, value) ||
            read<std::vector<unsigned char>>(filled, key, value) ||
            read<std::vector<int>>(filled, key, value) ||
            read<std::vector<short>>(filled, key, value) ||
            read<std::vector<signed char>>(filled, key, value) ||
            read<std::string>(filled, key, value);
        return value;
    }
};

const std::map<std::string, DbBuilder> files{
    {"without records", DbBuilder()},
    {"of one text", DbBuilder().text("/text", "two words")},
    {"of every type", DbBuilder()
                          .u8("/u8", {255})
                          .s8("/s8", {-1})
                          .u16("/u16", {1, 2})
                          .s16("/s16", {-2})
                          .u32("/u32", {7})
                          .s32("/s32", {-7})
                          .text("/text", "")},
};

/** Whether the checksum leaves the byte out. */
bool isUncovered(const std::string& image, std::size_t offset)
{
    return offset == image.size() - 4 || offset == image.size() - 3;
}

TEST_F(Corruption, OfAnyByteIsRefusedOrChangesNothingInASoftwareDatabase)
{
    for (const auto& [name, file] : files) {
        const std::string image = file.image();
        write(image);
        const auto content = softwareContent();
        ASSERT_TRUE(content);
        for (std::size_t offset = 0; offset < image.size(); ++offset) {
            for (const char value : otherValues(image, offset)) {
                change(offset, value);
                ASSERT_EQ(softwareContent(), isUncovered(image, offset) ? content : std::nullopt)
                    << name << ", byte " << offset << " as " << static_cast<int>(value);
            }
            change(offset, image[offset]);
        }
        EXPECT_EQ(softwareContent(), content);
    }
}

TEST_F(Corruption, OfAnyByteIsRefusedOrChangesNothingInAProductionDatabase)
{
    for (const auto& [name, file] : files) {
        const std::string image = file.image();
        write(image);
        const auto content = productionContent();
        ASSERT_TRUE(content);
        for (std::size_t offset = 0; offset < image.size(); ++offset) {
            for (const char value : otherValues(image, offset)) {
                const bool inLength = offset >= 6 && offset < 10;
                if (inLength &&
                    static_cast<unsigned char>(value) > static_cast<unsigned char>(image[offset]))
                    continue; // claims more than the file has: the loader keeps asking
                change(offset, value);
                ASSERT_EQ(productionContent(), isUncovered(image, offset) ? content : std::nullopt)
                    << name << ", byte " << offset << " as " << static_cast<int>(value);
            }
            change(offset, image[offset]);
        }
        EXPECT_EQ(productionContent(), content);
    }
}

TEST_F(Corruption, ByTruncationIsRefusedInASoftwareDatabase)
{
    for (const auto& [name, file] : files) {
        const std::string image = file.image();
        for (std::size_t size = 0; size < image.size(); ++size) {
            write(image.substr(0, size));
            EXPECT_EQ(softwareContent(), std::nullopt) << name << ", " << size << " bytes";
        }
    }
}

TEST_F(Corruption, ByTruncationOfTheHeaderIsRefusedInAProductionDatabase)
{
    const std::string image = files.at("of every type").image();
    for (std::size_t size = 0; size < 10; ++size) {
        write(image.substr(0, size));
        EXPECT_EQ(productionContent(), std::nullopt) << size << " bytes";
    }
}

} // namespace
} // namespace Varnix::Backend
