#ifndef VARNIX_TESTS_UNIT_LOADERTEST_H
#define VARNIX_TESTS_UNIT_LOADERTEST_H

#include "dbContainer.h"
#include "storeTest.h"
#include "tests/support/scriptedRead.h"

#include <filesystem>
#include <iterator>

namespace Varnix::Backend {

using Test::CallEffect;
using Test::ScriptedRead;
using testing::AllOf;
using testing::Field;

inline const DbBuilder goodFile = DbBuilder().u8("/a", {1}).text("/b", "two");

/** A file of the test's own, and a container to load it into. */
class LoaderTest : public StoreTest
{
protected:
    void write(const std::string& image) { writeFile(path, image); }
    void write(const DbBuilder& file) { write(file.image()); }

    /** Makes the file as long as its size says without writing it. */
    void stretch(std::uintmax_t size) { std::filesystem::resize_file(path, size); }

    /** All records that the container's iterator decodes. */
    std::vector<DbRecord> walk()
    {
        std::vector<DbRecord> records;
        const auto end = DbContainer::iterator::end(&container);
        for (auto it = DbContainer::iterator::begin(&container); it != end; ++it)
            records.push_back(*it);
        return records;
    }

    /** Whether the container is as it was made: without an image. */
    bool isEmpty() { return walk().empty(); }

    /**
     * What is traced when a load meets these reads: it must fail, and without a trace of it in the
     * container or the process.
     */
    template <typename Load>
    std::vector<TraceRecord> refusalOf(const Load& load, std::initializer_list<CallEffect> reads)
    {
        TraceSession::ofThisProcess().take();
        const std::size_t descriptors = openDescriptors();
        {
            const ScriptedRead script(reads);
            EXPECT_FALSE(load());
            EXPECT_EQ(script.left(), 0U);
        }
        EXPECT_TRUE(isEmpty());
        EXPECT_EQ(openDescriptors(), descriptors);
        return heard();
    }

    static std::size_t openDescriptors()
    {
        const std::filesystem::directory_iterator entries("/proc/self/fd");
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

    std::string path = directory / "file";
    DbContainer container;
};

inline auto loaderInfo(const std::string& words, const std::string& message)
{
    return Test::reportedAt("INFO", "dbContainer.cpp", words, message);
}

inline auto loaderError(const std::string& words, const std::string& message)
{
    return Test::reportedAt("ERROR", "dbContainer.cpp", words, message);
}

/** The loaders report a wrong header in the same words, the software loader first. */
inline auto loaderHeaderWrong(const std::string& path, int nth)
{
    const std::string words = "ABN: Failed to read the header from ";
    return Test::reportedAt("INFO", "dbContainer.cpp", words, words + path, nth);
}

/** An image whose header claims `length`, whatever follows; the checksum is right if one fits. */
inline std::string claiming(std::uint32_t length, std::string image)
{
    setLength(image, length);
    repairChecksum(image);
    return image;
}

} // namespace Varnix::Backend

#endif
