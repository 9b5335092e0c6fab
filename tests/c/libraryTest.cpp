#include "tests/support/process.h"

#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

using namespace Varnix::Test;

std::string outputOf(const std::vector<std::string>& command)
{
    const ProcessResult result = run(command);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
}

std::set<std::string> found(const std::string& text, const std::string& pattern)
{
    const std::regex expression(pattern);
    std::set<std::string> names;
    for (std::sregex_iterator i(text.begin(), text.end(), expression), end; i != end; ++i)
        names.insert((*i)[1]);
    return names;
}

TEST(CLibrary, ExportsWhatTheHeaderDeclaresAndNothingElse)
{
    std::ifstream file(C_HEADER);
    const std::string header(std::istreambuf_iterator<char>(file), {});
    std::set<std::string> expected = found(header, "VARNIX_EXPORT [a-z_ *]*\\b(varnix_\\w+)\\(");
    EXPECT_EQ(expected.size(), 20U);
    expected.insert("VARNIX_C_0");
    EXPECT_EQ(found(outputOf({"nm", "-D", "--defined-only", C_LIBRARY}), " [A-Za-z] (\\w+)"),
              expected);
}

TEST(CLibrary, IsNamedForItsInterface)
{
    const std::string entries = outputOf({"readelf", "-dW", C_LIBRARY});
    EXPECT_EQ(found(entries, "\\(SONAME\\).*\\[(.*)\\]"),
              std::set<std::string>{"libvarnix-c.so.0"});
    EXPECT_EQ(found(entries, "\\(NEEDED\\).*\\[(libvarnix.*)\\]"),
              std::set<std::string>{"libvarnix.so.0"});
}

} // namespace
