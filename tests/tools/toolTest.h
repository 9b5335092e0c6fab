#ifndef VARNIX_TESTS_TOOLTEST_H
#define VARNIX_TESTS_TOOLTEST_H

#include "tests/support/dbBuilder.h"
#include "tests/support/process.h"
#include "tests/support/temporaryDirectory.h"

#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace Varnix::Test {

/** Runs the varnix command, as it was built, in a directory of the test's own. */
class ToolTest : public testing::Test
{
protected:
    ProcessResult varnix(std::vector<std::string> arguments, ProcessSetup setup = {})
    {
        arguments.insert(arguments.begin(), VARNIX_TOOL);
        setup.directory = m_directory.path();
        return run(arguments, setup);
    }

    void write(std::string_view name, std::string_view content) const
    {
        writeFile(m_directory / name, content);
    }

    std::string read(std::string_view name) const { return readFile(m_directory / name); }

    bool exists(std::string_view name) const { return std::filesystem::exists(m_directory / name); }

    std::ptrdiff_t files() const
    {
        return std::distance(std::filesystem::directory_iterator(m_directory.path()), {});
    }

    const TemporaryDirectory m_directory;
};

/** The program ended with `status` and wrote exactly this. */
inline void expectResult(const ProcessResult& result, int status, const std::string& out,
                         const std::string& err)
{
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.out, out);
    EXPECT_EQ(result.err, err);
}

} // namespace Varnix::Test

#endif
