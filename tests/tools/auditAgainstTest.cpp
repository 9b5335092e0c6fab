#include "auditFixture.h"

namespace Varnix::Test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class AuditAgainst : public Audit
{
protected:
    AuditAgainst()
    {
        for (const char* name : {"old/n1", "old/n2", "old/n3"})
            makeNode(name);
    }
};

TEST_F(AuditAgainst, EqualNodesIsNothing)
{
    EXPECT_EQ(audit({"--against", "old", "n1/"}).out,
              "1 node: 1 good, 0 with findings, 0 not judged; 0 errors, 0 warnings, 0 notes; "
              "0 differ\n");
}

TEST_F(AuditAgainst, FoldsEqualChangesOfManyNodes)
{
    for (const char* name : {"n1", "n3"})
        makeNode(name, DbBuilder().u16("/gain", {31}).text("/label", name));
    expectResult(audit({"--against", "old", "n1", "n2", "n3"}), 1,
                 "2 nodes, first n1: /etc/node.cfg: /gain: U16 17 -> U16 31\n"
                 "n1: /etc/node.cfg: /label: absent -> CHAR \"n1\"\n"
                 "n3: /etc/node.cfg: /label: absent -> CHAR \"n3\"\n"
                 "3 nodes: 1 good, 2 with findings, 0 not judged; 0 errors, 0 warnings, 0 notes; "
                 "2 differ\n",
                 "");
}

TEST_F(AuditAgainst, ComparesWhatClientsReadAndNotFiles)
{
    DbBuilder().u8("/spare", {1}).u16("/gain", {17}).write(m_directory / "n1/flash/unit.db");
    DbBuilder()
        .text("/componentConfigId", "unit_1")
        .u8("/spare", {2})
        .write(m_directory / "n1/flash/prod.db");
    EXPECT_THAT(audit({"--against", "old", "n1"}).out,
                StartsWith("n1: /etc/node.cfg: /spare: absent -> U8 2\n1 node"));
}

TEST_F(AuditAgainst, AProductionDatabaseThatDiffersIsSeenWhereAllElseIsEqual)
{
    DbBuilder()
        .text("/componentConfigId", "unit_1")
        .u8("/spare", {2})
        .write(m_directory / "n1/flash/prod.db");
    EXPECT_THAT(audit({"--against", "old", "n1"}).out,
                StartsWith("n1: /etc/node.cfg: /spare: absent -> U8 2\n1 node"));
}

TEST_F(AuditAgainst, ClientThatGetsNoDatabaseAnyMoreIsOneDifference)
{
    fs::remove(m_directory / "n1/flash/unit.db");
    EXPECT_THAT(audit({"--against", "old", "n1"}).out,
                HasSubstr("n1: /etc/node.cfg: a client gets no database any more\n"));
}

TEST_F(AuditAgainst, AConfigurationThatIsGoneOrNewIsADifference)
{
    const std::string config = configText({{"unit", "1", {"/flash/unit.db"}}});
    write("n1/etc/new.cfg", config);
    write("old/n1/etc/gone.cfg", config);
    const ProcessResult result = varnix({"audit", "--against", "old", "n1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, StartsWith("n1: /etc/new.cfg: a client gets a database now\n"
                                       "n1: /etc/gone.cfg: a client gets no database any more\n"));
}

TEST_F(AuditAgainst, AConfigurationThatGaveNoDatabaseIsNotMissed)
{
    write("n1/etc/new.cfg", configText({{"unit", "1", {"/flash/absent.db"}}}));
    write("old/n1/etc/gone.cfg", configText({{"unit", "1", {"/flash/absent.db"}}}));
    EXPECT_THAT(varnix({"audit", "--against", "old", "n1"}).out, Not(HasSubstr("a client gets")));
}

TEST_F(AuditAgainst, SaysWhichSideCannotBeJudged)
{
    fs::remove(m_directory / "old/n1/flash/prod.db");
    const ProcessResult result = varnix({"audit", "--against", "old", "n1"});
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.err, StartsWith("n1: error: old/n1: no production database: "));
}

TEST_F(AuditAgainst, NodeThatWasNotThereStillHasItsFindings)
{
    makeNode("n4", DbBuilder().u16("gain", {17}));
    const ProcessResult result = audit({"--against", "old", "n4"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "n4: error: old/n4 cannot be read as a directory\n");
    EXPECT_THAT(result.out, StartsWith("n4: /flash/unit.db:@0xb: error: "));
}

} // namespace
} // namespace Varnix::Test
