#include "tests/tools/liveFixture.h"

#include <sys/stat.h>
#include <unistd.h>

namespace Varnix::Test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;

class Install : public ToolTest
{
protected:
    Install()
    {
        DbBuilder().u8("/gain", {1}).write(m_directory / "old.db");
        DbBuilder().u8("/gain", {2}).write(m_directory / "new.db");
    }

    std::string image(unsigned char gain) { return DbBuilder().u8("/gain", {gain}).image(); }
};

TEST_F(Install, ReplacesTheFileAndKeepsItsModeAndOwner)
{
    ASSERT_EQ(::chmod((m_directory / "old.db").c_str(), 0640), 0);
    struct stat before = {};
    ASSERT_EQ(::stat((m_directory / "old.db").c_str(), &before), 0);
    expectResult(varnix({"install", "new.db", "old.db"}), 0, "", "");
    struct stat after = {};
    ASSERT_EQ(::stat((m_directory / "old.db").c_str(), &after), 0);
    EXPECT_EQ(read("old.db"), image(2));
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(files(), 2);
}

TEST_F(Install, MakesAFileThatIsNotThereYet)
{
    EXPECT_EQ(varnix({"install", "new.db", "fresh.db"}).status, 0);
    EXPECT_EQ(read("fresh.db"), image(2));
}

TEST_F(Install, ReplacesADamagedFile)
{
    write("old.db", "damaged");
    expectResult(varnix({"install", "new.db", "old.db"}), 0, "", "");
    EXPECT_EQ(read("old.db"), image(2));
}

TEST_F(Install, LeavesTheFileWhereACheckFindsSomething)
{
    DbBuilder().u8("gain", {2}).write(m_directory / "new.db");
    expectResult(varnix({"install", "new.db", "old.db"}), 1,
                 "new.db:@0xb: error: the key \"gain\" does not begin with \"/\"\n", "");
    EXPECT_EQ(read("old.db"), image(1));
}

TEST_F(Install, LeavesTheFileWhereASchemaRefusesTheNewOne)
{
    write("s", "/gain U8 0..1\n");
    expectResult(varnix({"install", "--schema", "s", "new.db", "old.db"}), 1,
                 "new.db:@0x15: error: 2 is above 1 (s:1)\n",
                 "varnix: varnix-schema(5) explains these checks: range\n");
    EXPECT_EQ(read("old.db"), image(1));
}

TEST_F(Install, OfAnUnreadableFileLeavesTheOldOne)
{
    expectResult(varnix({"install", "absent.db", "old.db"}), 3, "",
                 "varnix: cannot open absent.db: No such file or directory\n");
    expectResult(varnix({"install", "new.db", "absent/new.db"}), 3, "",
                 "varnix: cannot write absent/new.db: No such file or directory\n");
    EXPECT_EQ(read("old.db"), image(1));
}

TEST_F(Install, OfAFileOverItselfIsWrongUsage)
{
    fs::create_symlink("old.db", m_directory / "link.db");
    expectResult(varnix({"install", "old.db", "link.db"}), 2, "",
                 "varnix: FILE and DEST are the same file: old.db\n");
    EXPECT_EQ(read("old.db"), image(1));
}

class InstallLive : public Live
{
protected:
    /** Installs a file over that of `first`. */
    ProcessResult install(const DbBuilder& builder)
    {
        builder.write(m_directory / "new.db");
        return varnix({"install", "new.db", node / "first.db"});
    }
};

TEST_F(InstallLive, NamesTheProcessesThatHoldTheOldValues)
{
    const std::string pid = hold({first});
    hold({second});
    const ProcessResult result =
        install(DbBuilder().u16("/gain", {5, 6}).text("/label", "another"));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "process " + pid +
                              " (holder) still holds the old value of /gain and of 1 "
                              "more in " +
                              (node / "first.db").string() + '\n');
}

TEST_F(InstallLive, NamesTheProcessesThatHoldAKeyWithoutAType)
{
    const std::string pid = hold({second});
    DbBuilder().u16("/gain", {3}).u8("/empty", {1}).write(m_directory / "new.db");
    EXPECT_THAT(varnix({"install", "new.db", node / "second.db"}).out,
                HasSubstr("process " + pid + " (holder) still holds the old value of /empty in "));
}

TEST_F(InstallLive, NamesNoProcessWhereNoValueChanges)
{
    hold({first});
    const ProcessResult result =
        install(DbBuilder().text("/label", "a label").u16("/gain", {1, 2}));
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, IsEmpty());
}

TEST_F(InstallLive, NamesTheProcessesOfAProductionDatabase)
{
    const std::string pid = hold({second});
    DbBuilder()
        .text("/componentConfigId", "unit_R1")
        .u8("/board", {8})
        .write(m_directory / "new.db");
    const ProcessResult result = varnix({"install", "new.db", std::getenv(secondVariable)});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out,
                HasSubstr("process " + pid + " (holder) still holds the old value of /board in "));
}

} // namespace
} // namespace Varnix::Test
