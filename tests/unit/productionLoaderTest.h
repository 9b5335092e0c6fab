#ifndef VARNIX_TESTS_UNIT_PRODUCTIONLOADERTEST_H
#define VARNIX_TESTS_UNIT_PRODUCTIONLOADERTEST_H

#include "loaderTest.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace Varnix::Backend {

inline auto headerWrong(const std::string& path)
{
    return loaderHeaderWrong(path, 2);
}

inline auto reading(const std::string& path)
{
    return loaderInfo("Reading Production database from ",
                      "Reading Production database from " + path);
}

inline auto sized(std::uint64_t size)
{
    return loaderInfo("Size of Db: ", "Size of Db: " + std::to_string(size));
}

inline auto corrupted()
{
    return loaderInfo("ABN: Corrupted Production(calibration) Data Base.",
                      "ABN: Corrupted Production(calibration) Data Base. Calculated checksum does "
                      "not match stored one.");
}

/** The loader of production files, and what it reports. */
class ProductionLoader : public LoaderTest
{
protected:
    std::vector<TraceRecord> refusal(std::initializer_list<CallEffect> reads = {})
    {
        return refusalOf([&] { return container.loadProductionDb(path); }, reads);
    }

    /** Whether a descriptor that the process has of the file is at this position. */
    bool hasReadUpTo(std::size_t position, const std::string& process) const
    {
        std::error_code closed;
        const std::string proc = "/proc/" + process;
        for (const auto& entry : std::filesystem::directory_iterator(proc + "/fd", closed)) {
            if (std::filesystem::read_symlink(entry.path(), closed) != path)
                continue;
            std::ifstream info(proc + "/fdinfo/" + entry.path().filename().string());
            std::string label;
            std::size_t value = 0;
            if (info >> label >> value && value == position)
                return true;
        }
        return false;
    }

    std::uint64_t fileSize() const { return std::filesystem::file_size(path); }
};

} // namespace Varnix::Backend

#endif
