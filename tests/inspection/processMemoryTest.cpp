#include "inspection/notInspected.h"
#include "inspection/process.h"
#include "tests/support/temporaryDirectory.h"

#include <csignal>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varnix::Test {

namespace {

using namespace Inspection;

constexpr std::size_t pageSize = 4096;

Address addressOf(const void* object)
{
    return reinterpret_cast<Address>(object);
}

/** Some pages of this process whose bytes all differ from their neighbours, and none after them. */
class Pages
{
public:
    explicit Pages(std::size_t count)
        : m_size((count + 1) * pageSize),
          m_start(static_cast<char*>(
              ::mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
    {
        for (std::size_t i = 0; i < m_size; ++i)
            m_start[i] = static_cast<char>(i * 7 + i / 256);
        ::mprotect(m_start + count * pageSize, pageSize, PROT_NONE);
    }
    ~Pages() { ::munmap(m_start, m_size); }
    Pages(const Pages&) = delete;
    Pages& operator=(const Pages&) = delete;

    /** A range by its distance from the first byte. */
    Range range(std::size_t at, std::size_t size) const
    {
        m_expected.append(m_start + at, size);
        return missing(at, size);
    }

    Range missing(std::size_t at, std::size_t size) const
    {
        return {addressOf(m_start) + at, size};
    }

    /** The bytes of the ranges that were made, one after the other. */
    const std::string& expected() const { return m_expected; }

private:
    std::size_t m_size;
    char* m_start;
    mutable std::string m_expected;
};

std::string bytesOf(const std::vector<Range>& ranges)
{
    std::uint64_t size = 0;
    for (const Range& range : ranges)
        size += range.size;
    std::string bytes(size, '\0');
    return ProcessMemory(::getpid()).read(ranges, bytes) ? bytes : "not there";
}

TEST(ProcessMemory, GivesTheBytesOfNeighboursAndNothingBetweenThem)
{
    const Pages pages(2);
    const std::vector<Range> ranges{pages.range(0, 16),    pages.range(16, 3),
                                    pages.range(20, 5),    pages.range(200, 1),
                                    pages.range(457, 100), pages.range(814, 7)};
    EXPECT_EQ(bytesOf(ranges), pages.expected());
}

TEST(ProcessMemory, GivesTheBytesOfRangesInAnyOrder)
{
    const Pages pages(8);
    const std::vector<Range> ranges{pages.range(3 * pageSize, 20), pages.range(100, 50),
                                    pages.range(110, 10),          pages.range(100, 50),
                                    pages.range(40, 60),           pages.range(7 * pageSize, 9)};
    EXPECT_EQ(bytesOf(ranges), pages.expected());
}

TEST(ProcessMemory, GivesTheBytesOfMoreRangesThanTheKernelTakes)
{
    const Pages pages(20);
    std::vector<Range> ranges;
    for (std::size_t i = 0; i < 3000; ++i) // some joined, some not
        ranges.push_back(pages.range(i * 17 + (i % 50) * 500, i % 13));
    EXPECT_EQ(bytesOf(ranges), pages.expected());
}

TEST(ProcessMemory, EndsWhereNothingIsMapped)
{
    const Pages pages(1);
    const std::vector<Range> last{pages.range(pageSize - 30, 10), pages.range(pageSize - 10, 10)};
    EXPECT_EQ(bytesOf(last), pages.expected());
    EXPECT_EQ(bytesOf({last[0], pages.missing(pageSize - 10, 11)}), "not there");
    EXPECT_EQ(bytesOf({last[0], pages.missing(pageSize + 10, 1)}), "not there");
    EXPECT_EQ(bytesOf({pages.missing(pageSize, 1), last[0]}), "not there");
}

TEST(ProcessMemory, HasNoRangeBeyondTheLastAddress)
{
    const Pages pages(1);
    constexpr Address last = std::numeric_limits<Address>::max();
    EXPECT_EQ(bytesOf({{last - 3, 16}}), "not there");
    EXPECT_EQ(bytesOf({pages.range(0, 4), {last, 2}}), "not there");
}

TEST(ProcessMemory, NeedsNoMemoryForNoBytes)
{
    EXPECT_EQ(bytesOf({}), "");
    EXPECT_EQ(bytesOf({{0, 0}, {1, 0}}), "");
}

TEST(Process, WithAMappedFileThatHasLostItsBytesIsLookedAt)
{
    const TemporaryDirectory directory;
    const int file = ::open((directory / "mapped").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(::ftruncate(file, pageSize), 0);
    // Before the program's own image, which is found by what is read together with this one.
    void* const place = reinterpret_cast<void*>(0x10000000); // NOLINT(performance-no-int-to-ptr)
    void* const mapped = ::mmap(place, pageSize, PROT_READ, MAP_SHARED, file, 0);
    ASSERT_NE(mapped, MAP_FAILED);
    ASSERT_EQ(::ftruncate(file, 0), 0);
    EXPECT_NO_THROW(Inspection::Process{::getpid()}) << "this program has the library's note";
    ::munmap(mapped, pageSize);
    ::close(file);
}

TEST(ProcessEnd, IsSeenAlsoBeforeAnybodyWaitsForTheProcess)
{
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::pause();
        ::_exit(1);
    }
    const ProcessDescriptor process(child);
    EXPECT_FALSE(process.hasEnded());
    ::kill(child, SIGKILL);
    siginfo_t info{};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
    EXPECT_TRUE(process.hasEnded());
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED), 0);
    EXPECT_TRUE(process.hasEnded());
}

} // namespace

} // namespace Varnix::Test
