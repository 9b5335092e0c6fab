#ifndef VARNIX_TESTS_PRELOAD_H
#define VARNIX_TESTS_PRELOAD_H

#include "tests/support/temporaryDirectory.h"

#include <cstddef>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace Varnix::Test {

/** What fails in a program into which preload.cpp is loaded. */
struct Fault
{
    static constexpr std::size_t all = ~std::size_t{0};

    std::string call;      ///< "new" for an allocation
    int error = 0;         ///< 0 for transfers of one byte
    std::size_t count = 1; ///< how many fail, from the struck one on
};

inline std::string describe(const Fault& fault, std::size_t first)
{
    return fault.call + " " + std::to_string(first) + " error " + std::to_string(fault.error) +
           (fault.count == 1 ? "" : " and all after it");
}

/** A program's environment under a fault, and whether the fault struck. */
class FaultReport
{
public:
    std::vector<std::string> environment(const Fault& fault, std::size_t first) const
    {
        std::filesystem::remove(path());
        return {"LD_PRELOAD=" FAULT_PRELOAD,
                "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0",
                "VARNIX_FAULT=" + fault.call,
                "VARNIX_FAULT_FIRST=" + std::to_string(first),
                "VARNIX_FAULT_COUNT=" + std::to_string(fault.count),
                "VARNIX_FAULT_ERROR=" + std::to_string(fault.error),
                "VARNIX_FAULT_REPORT=" + path()};
    }

    bool struck() const { return std::filesystem::exists(path()); }

private:
    std::string path() const { return (m_directory / "struck").string(); }

    TemporaryDirectory m_directory;
};

} // namespace Varnix::Test

#endif
