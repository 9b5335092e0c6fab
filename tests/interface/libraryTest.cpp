#include "tests/support/process.h"

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace Varnix::Test;
using Names = std::set<std::string>;

const std::string library = VARNIX_LIBRARY;

std::vector<std::string> linesOf(const std::vector<std::string>& command)
{
    const ProcessResult result = run(command);
    EXPECT_EQ(result.status, 0) << result.err;
    std::istringstream text(result.out);
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

/** The values of the library's dynamic entries of one kind, without their brackets. */
std::vector<std::string> dynamicEntries(const std::string& kind)
{
    std::vector<std::string> values;
    for (const std::string& line : linesOf({"readelf", "-dW", library})) {
        const auto open = line.find('[');
        if (line.find('(' + kind + ')') != std::string::npos && open != std::string::npos)
            values.push_back(line.substr(open + 1, line.rfind(']') - open - 1));
    }
    return values;
}

TEST(Library, ExportsThePublicInterfaceAndNothingElse)
{
    Names exported;
    for (const std::string& line : linesOf({"nm", "-DC", "--defined-only", library})) {
        // "address kind name@@version"
        const std::string name = line.substr(line.find(' ') + 3);
        exported.insert(name.substr(0, name.find('@')));
    }
    const Names publicInterface = {
        "VARNIX_V1",
        "Varnix::V1::DatabaseIf::~DatabaseIf()",
        "Varnix::V1::DbRegistryIf::getInstance()",
        "Varnix::V1::DbRegistryIf::~DbRegistryIf()",
        "Varnix::V1::version()",
        "typeinfo for Varnix::V1::DatabaseIf",
        "typeinfo for Varnix::V1::DbRegistryIf",
        "typeinfo name for Varnix::V1::DatabaseIf",
        "typeinfo name for Varnix::V1::DbRegistryIf",
        "vtable for Varnix::V1::DatabaseIf",
        "vtable for Varnix::V1::DbRegistryIf",
    };
    EXPECT_EQ(exported, publicInterface);
}

TEST(Library, ExportsNothingThatWouldPinIt)
{
    for (const std::string& line : linesOf({"nm", "-D", "--defined-only", library}))
        EXPECT_EQ(line.find(" u "), std::string::npos) << line;
}

TEST(Library, IsNamedForItsInterface)
{
    EXPECT_EQ(dynamicEntries("SONAME"), std::vector<std::string>{"libvarnix.so.0"});
}

TEST(Library, NeedsTheNodesLibraries)
{
    const std::vector<std::string> needed = dynamicEntries("NEEDED");
    for (const std::string name :
         {"libitc.so.1", "libtpt.so.0", "libconfig.so.", "liblttng-ust.so."})
        EXPECT_THAT(needed, testing::Contains(testing::StartsWith(name)));
}

TEST(Library, IsFoundByRunpathNeverRpath)
{
    EXPECT_EQ(dynamicEntries("RUNPATH").size(), 1U);
    EXPECT_EQ(dynamicEntries("RPATH"), std::vector<std::string>{});
}

} // namespace
