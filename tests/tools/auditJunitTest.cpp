#include "auditFixture.h"

#include <array>
#include <chrono>
#include <ctime>
#include <regex>

#include <sys/utsname.h>

namespace Varnix::Test {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using testing::HasSubstr;
using testing::StartsWith;

class AuditJunit : public Audit
{
protected:
    /** The time of day as a report says it. */
    static std::string now()
    {
        const std::time_t time = std::time(nullptr);
        std::array<char, 32> text{};
        return {text.data(),
                std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", std::gmtime(&time))};
    }
};

TEST_F(AuditJunit, HoldsEveryVerdictAsACase)
{
    const std::string odd = "n<&>\"\xEF\xBF\xBE\xEF\xBF\xBF";
    for (const std::string& node : {"n1"s, "n2"s, odd})
        makeNode("old/" + node);
    makeNode(odd);
    makeNode("n2", DbBuilder().u16("gain", {17}));
    DbBuilder().write(m_directory / "n2/flash/forgotten.db");
    fs::create_directory(m_directory / "empty");
    EXPECT_EQ(audit({"--against", "old", "--junit", "report.xml", "n1", "n2", odd, "empty"}).status,
              3);
    const std::string report = read("report.xml");
    EXPECT_THAT(report, HasSubstr("tests=\"4\" failures=\"1\" errors=\"1\" time="));
    EXPECT_EQ(report.substr(report.find("\n  <properties/>")), R"x(
  <properties/>
  <testcase name="n1" classname="varnix.audit" time="0.000"/>
  <testcase name="n2" classname="varnix.audit" time="0.000">
    <failure message="/flash/unit.db:@0xb: error: the key &quot;gain&quot; does not begin with &quot;/&quot;" type="findings">/flash/unit.db:@0xb: error: the key &quot;gain&quot; does not begin with &quot;/&quot;
/etc/node.cfg: /gain: U16 17 -&gt; absent
</failure>
  </testcase>
  <testcase name="n&lt;&amp;&gt;&quot;??" classname="varnix.audit" time="0.000"/>
  <testcase name="empty" classname="varnix.audit" time="0.000">
    <error message="error: old/empty cannot be read as a directory" type="not judged">error: old/empty cannot be read as a directory
error: no production database: --production: cannot open empty/flash/prod.db: No such file or directory
</error>
  </testcase>
  <system-out/>
  <system-err/>
</testsuite>
)x");
}

TEST_F(AuditJunit, SaysWhereAndWhenAndHowLong)
{
    const auto start = std::chrono::steady_clock::now();
    const std::string before = now();
    EXPECT_EQ(audit({"--junit", "report.xml", "n1"}).status, 0);
    const std::string after = now();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    const std::string report = read("report.xml");
    std::smatch found;
    const std::regex head(
        R"x( timestamp="([-0-9]+T[:0-9]+)" hostname="(.*)" tests=.* time="([0-9]+\.[0-9]{3})">)x");
    EXPECT_THAT(report, StartsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                   "<testsuite name=\"varnix audit\" timestamp="));
    ASSERT_TRUE(std::regex_search(report, found, head)) << report;
    EXPECT_LE(before, found[1]);
    EXPECT_GE(after, found[1]);
    utsname host{};
    ASSERT_EQ(::uname(&host), 0);
    EXPECT_EQ(found[2], host.nodename);
    EXPECT_LE(std::stod(found[3]), elapsed.count());
}

} // namespace
} // namespace Varnix::Test
