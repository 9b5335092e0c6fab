#include "tests/support/dbBuilder.h"
#include "tests/support/process.h"
#include "tests/support/temporaryDirectory.h"

#include <regex>
#include <string>

#include <gtest/gtest.h>

// Instructions, as callgrind counts them: the same every time, on every machine of the kind. The
// counts hold for g++ 12 with -O3 on x86-64; after a change that is meant, they are replaced by
// what the failing test says.

namespace Varnix::Test {

namespace {

constexpr double tolerance = 0.03;

/** A node whose production database holds other keys than the one component database. */
class Instructions : public ::testing::Test
{
protected:
    Instructions()
    {
        DbBuilder().text("/componentConfigId", "unit_R1").write(m_directory / "prod.db");
    }

    std::string configOf(const DbBuilder& database) const
    {
        database.write(m_directory / "component.db");
        const std::string config = m_directory / "component.cfg";
        writeFile(config, "varnix = { component_versions = ( { component_id = \"unit\"; "
                          "revision = \"R1\"; file_paths = [ \"" +
                              (m_directory / "component.db").string() + "\" ]; } ); };\n");
        return config;
    }

    /** Instructions inside the functions that `pattern` names. */
    double count(const std::string& pattern, const std::string& config, const std::string& what,
                 int reads) const
    {
        const ProcessResult result = run(
            {"valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null",
             "--toggle-collect=" + pattern, COUNTED_PROGRAM, config, what, std::to_string(reads)},
            {.environment = {"sys_uflash_prod_db_dev=" + (m_directory / "prod.db").string(),
                             "sys_uflash_prod_db_dev_dev",
                             "VARNIX_ITC_DIR=" + m_directory.path().string()}});
        EXPECT_EQ(result.status, 0) << result.err;
        std::smatch found;
        if (!std::regex_search(result.err, found, std::regex("Collected : ([0-9]+)")))
            ADD_FAILURE() << result.err;
        return found.empty() ? 0 : std::stod(found[1]);
    }

    /** Instructions of one read, the first one left out: it makes room. */
    double perRead(const std::string& what) const
    {
        constexpr int reads = 1000;
        const std::vector<std::int64_t> numbers{1, 2, 3, 4};
        const std::string config = configOf(DbBuilder()
                                                .u32("/u32", numbers)
                                                .text("/text", "a text of 24 characters.")
                                                .u8("/u8", std::vector<std::int64_t>(1024, 7))
                                                .u16("/u16", std::vector<std::int64_t>(512, 7)));
        const std::string pattern = "Varnix::V1::Database::get*";
        return (count(pattern, config, what, reads + 1) - count(pattern, config, what, 1)) / reads;
    }

    double instructionsOfLoad(int records) const
    {
        DbBuilder database;
        for (int i = 0; i < records; ++i)
            database.u32("/unit/branch/p" + std::to_string(10000 + i), {1, 2, 3, 4});
        return count("Varnix::V1::DbRegistry::initDb*", configOf(database), "load", 0);
    }

    TemporaryDirectory m_directory;
};

void expectCount(double counted, double expected)
{
    EXPECT_NEAR(counted, expected, expected * tolerance);
}

TEST_F(Instructions, OfReadingFourNumbers)
{
    expectCount(perRead("U32x4"), 241);
}

TEST_F(Instructions, OfReadingAShortText)
{
    expectCount(perRead("text24"), 237);
}

TEST_F(Instructions, OfReadingAKibibyteOfBytes)
{
    expectCount(perRead("U8x1024"), 331);
}

TEST_F(Instructions, OfReadingAKibibyteOfWords)
{
    expectCount(perRead("U16x512"), 372);
}

TEST_F(Instructions, OfLoadingARecord)
{
    // 1024 more records, with twice the slots in both cases.
    expectCount((instructionsOfLoad(2048) - instructionsOfLoad(1024)) / 1024, 727);
}

} // namespace

} // namespace Varnix::Test
