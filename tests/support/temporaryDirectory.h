#ifndef VARNIX_TESTS_TEMPORARYDIRECTORY_H
#define VARNIX_TESTS_TEMPORARYDIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Varnix::Test {

/** A new directory, removed with everything in it at the end. */
class TemporaryDirectory
{
public:
    TemporaryDirectory()
    {
        std::string name = std::filesystem::temp_directory_path() / "varnix-test-XXXXXX";
        if (::mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("no temporary directory");
        m_path = name;
    }
    ~TemporaryDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const noexcept { return m_path; }
    std::filesystem::path operator/(std::string_view name) const { return m_path / name; }

private:
    std::filesystem::path m_path;
};

} // namespace Varnix::Test

#endif
