// Libraries that use mailboxes come and go; this program has no part of the mailbox library itself.
#include "tests/support/waitUntil.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

class ItcUnload : public ::testing::Test
{
protected:
    using Call = std::uint32_t (*)();

    // The process keeps the directory that it has once been given.
    static void SetUpTestSuite()
    {
        fs::remove_all(m_directory);
        fs::create_directory(m_directory);
        fs::permissions(m_directory, fs::perms::owner_all);
        ::setenv("VARNIX_ITC_DIR", m_directory.c_str(), 1);
    }
    static void TearDownTestSuite() { fs::remove_all(m_directory); }

    void load()
    {
        m_library = ::dlopen(ITC_USER_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(nullptr, m_library) << ::dlerror();
    }
    void unload() { EXPECT_EQ(0, ::dlclose(m_library)); }
    Call call(const char* name) { return reinterpret_cast<Call>(::dlsym(m_library, name)); }

    static std::ptrdiff_t count(const char* directory)
    {
        return std::distance(fs::directory_iterator(directory), {});
    }

private:
    static inline const fs::path m_directory =
        fs::temp_directory_path() / ("itcUnload-" + std::to_string(::getpid()));
    void* m_library = nullptr;
};

TEST_F(ItcUnload, AHundredTimesLeaveWhatOneLeaves)
{
    const auto use = [this] {
        load();
        std::thread([this] {
            EXPECT_NE(UINT32_C(0xFFFFFFFF), call("openMailbox")());
            EXPECT_EQ(7U, call("exchange")());
        }).join();
        unload();
    };
    use();
    const auto descriptors = count("/proc/self/fd");
    const auto threads = count("/proc/self/task");
    for (int i = 0; i < 100; ++i)
        use();
    EXPECT_EQ(descriptors, count("/proc/self/fd"));
    // A thread that was joined may still be on its way out.
    EXPECT_TRUE(Varnix::Test::waitUntil([threads] { return count("/proc/self/task") <= threads; }));
}

TEST_F(ItcUnload, AThreadsMailboxEndsWellAfterItsLibraryHasGone)
{
    for (int i = 0; i < 10; ++i) {
        std::thread([this] {
            load();
            EXPECT_NE(UINT32_C(0xFFFFFFFF), call("openMailbox")());
            unload();
        }).join();
    }
}

} // namespace
