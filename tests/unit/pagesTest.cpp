#include "pages.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>

namespace Varnix::Backend {
namespace {

constexpr std::uintptr_t hugePage = std::uintptr_t{2} << 20U;

struct Range
{
    std::uintptr_t start;
    std::uintptr_t end;
};

/** The mappings of this process that prefer huge pages. */
std::vector<Range> preferring()
{
    std::vector<Range> found;
    std::ifstream maps("/proc/self/smaps");
    Range mapping{};
    for (std::string line; std::getline(maps, line);) {
        std::istringstream words(line);
        std::string word;
        words >> word;
        if (word == "VmFlags:") {
            while (words >> word)
                if (word == "hg")
                    found.push_back(mapping);
        } else if (const auto dash = word.find('-'); dash != std::string::npos)
            mapping = {std::stoull(word, nullptr, 16),
                       std::stoull(word.substr(dash + 1), nullptr, 16)};
    }
    return found;
}

/** Of what prefers huge pages after it was said of these bytes, what lies in the memory. */
std::vector<Range> preferredIn(std::size_t offset, std::size_t size)
{
    constexpr std::size_t room = 5 * hugePage;
    void* const memory =
        ::mmap(nullptr, room, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    const auto base = reinterpret_cast<std::uintptr_t>(memory);
    const std::uintptr_t first = (base + hugePage - 1) / hugePage * hugePage + offset;
    preferHugePages(reinterpret_cast<void*>(first), size);
    std::vector<Range> inside;
    for (const Range& range : preferring())
        if (range.start < base + room && base < range.end)
            inside.push_back({range.start - first, range.end - first});
    ::munmap(memory, room);
    return inside;
}

/** Whether the kernel has them at all. */
bool hasHugePages()
{
    return std::ifstream("/sys/kernel/mm/transparent_hugepage/enabled").good();
}

TEST(HugePages, ArePreferredWhereTheyLieInsideWholly)
{
    const auto ranges = preferredIn(4096, 3 * hugePage);
    ASSERT_EQ(ranges.size(), hasHugePages() ? 1U : 0U);
    for (const Range& range : ranges) {
        EXPECT_EQ(range.start, hugePage - 4096);
        EXPECT_EQ(range.end, 3 * hugePage - 4096);
    }
}

TEST(HugePages, AreNotPreferredWhereNoneLiesInsideWholly)
{
    EXPECT_TRUE(preferredIn(4096, 2 * hugePage - 4097).empty());
    EXPECT_TRUE(preferredIn(0, hugePage - 1).empty());
    EXPECT_TRUE(preferredIn(0, 0).empty());
}

/** Memory of so many pages, none of which is resident. */
class PopulatedPages : public testing::Test
{
protected:
    static constexpr std::size_t page = 4096;
    static constexpr std::size_t count = 64;

    ~PopulatedPages() override { ::munmap(m_memory, count * page); }

    char* at(std::size_t offset) const { return m_memory + offset; }

    std::vector<bool> resident() const
    {
        std::vector<unsigned char> flags(count);
        ::mincore(m_memory, count * page, flags.data());
        std::vector<bool> result;
        for (const unsigned char flag : flags)
            result.push_back((flag & 1U) != 0);
        return result;
    }

private:
    char* m_memory = static_cast<char*>(::mmap(nullptr, count* page, PROT_READ | PROT_WRITE,
                                               MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
};

TEST_F(PopulatedPages, AreThoseThatLieInsideWholly)
{
    // A kernel that cannot leaves all as it was.
    const bool can = ::madvise(at(0), page, MADV_POPULATE_WRITE) == 0;
    ::madvise(at(0), page, MADV_DONTNEED);

    populatePages(at(page + 1), 20 * page);

    std::vector<bool> expected(count);
    std::fill_n(expected.begin() + 2, 19, can);
    EXPECT_EQ(resident(), expected);
}

TEST_F(PopulatedPages, KeepWhatIsInThem)
{
    *at(5 * page) = 'x';
    populatePages(at(0), count * page);
    EXPECT_EQ(*at(5 * page), 'x');
}

TEST_F(PopulatedPages, AreNotWorthACallWhereTheyAreFew)
{
    populatePages(at(0), 8 * page);
    EXPECT_EQ(resident(), std::vector<bool>(count));
}

} // namespace
} // namespace Varnix::Backend
