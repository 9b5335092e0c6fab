#include "tests/tools/toolTest.h"

#include <chrono>

#include <linux/securebits.h>
#include <sys/prctl.h>
#include <sys/resource.h>

namespace Varnix::Test {
namespace {

namespace fs = std::filesystem;

/** Root's program then meets permissions like everybody's; other users have nothing to give up. */
void withoutPrivileges()
{
    ::prctl(PR_SET_SECUREBITS, SECBIT_NOROOT);
}

class Build : public ToolTest
{
};

TEST_F(Build, WritesTheDatabaseBesideItsOneSource)
{
    write("unit.txt", "/unit/gain U16 17 0x1F 65535\n");
    expectResult(varnix({"build", "unit.txt"}), 0, "", "");
    EXPECT_EQ(read("unit.db"), DbBuilder().u16("/unit/gain", {17, 31, 65535}).image());
    EXPECT_EQ(files(), 2);
}

TEST_F(Build, MergesSeveralSourcesInTheirOrder)
{
    write("a", "/b U8 1");
    write("b", "/a U8 2");
    expectResult(varnix({"build", "-o", "out", "a", "b"}), 0, "", "");
    EXPECT_EQ(read("out"), DbBuilder().u8("/b", {1}).u8("/a", {2}).image());
}

TEST_F(Build, WritesToStandardOutputWhereAsked)
{
    write("a", "/a U8 1");
    expectResult(varnix({"build", "-o", "-", "a"}), 0, DbBuilder().u8("/a", {1}).image(), "");
    EXPECT_EQ(files(), 1);
}

TEST_F(Build, WarnsOfAKeyWithoutAByteAndWritesIt)
{
    write("a", "/full U8 1\n  /empty CHAR \"\"\n");
    expectResult(
        varnix({"build", "-o", "db", "a"}), 0, "",
        "a:2:3: warning: the key \"/empty\" has no value: unless another file gives it one, "
        "every read is a type mismatch\n");
    EXPECT_EQ(read("db"), DbBuilder().u8("/full", {1}).text("/empty", "").image());
}

TEST_F(Build, GivesTheSameBytesEveryTime)
{
    write("a", "/b U8 1\n/a CHAR \"x\"\n");
    const std::string first = varnix({"build", "-o", "-", "a"}).out;
    EXPECT_FALSE(first.empty());
    EXPECT_EQ(varnix({"build", "-o", "-", "a"}).out, first);
}

TEST_F(Build, DependencyFileNamesTheOutputAndItsSources)
{
    write("a", "/a U8 1");
    write("b #$", "/b U8 1");
    expectResult(varnix({"build", "-o", "out", "--depfile", "out.d", "a", "b #$"}), 0, "", "");
    EXPECT_EQ(read("out.d"), "out: a b\\ \\#$$\na:\nb\\ \\#$$:\n");
}

TEST_F(Build, DependencyFileMakesMakeRebuildWhatIsOld)
{
    write("a", "/a U8 1");
    write("Makefile", "out:\n\t" VARNIX_TOOL " build -o $@ --depfile out.d a\n-include out.d\n");
    ASSERT_EQ(run({"make", "-s"}, {.directory = m_directory.path()}).status, 0);
    EXPECT_EQ(run({"make", "-q"}, {.directory = m_directory.path()}).status, 0);
    fs::last_write_time(m_directory / "a",
                        fs::last_write_time(m_directory / "out") + std::chrono::seconds(5));
    EXPECT_EQ(run({"make", "-q"}, {.directory = m_directory.path()}).status, 1);
}

TEST_F(Build, DependencyFileServesNinja)
{
    write("a", "/a U8 1");
    write("b", "/b U8 1");
    write("build.ninja", "rule db\n  command = " VARNIX_TOOL
                         " build -o $out --depfile $out.d a b\n  depfile = $out.d\n"
                         "  deps = gcc\nbuild out: db\n");
    ASSERT_EQ(run({"ninja"}, {.directory = m_directory.path()}).status, 0);
    EXPECT_THAT(run({"ninja", "-t", "deps", "out"}, {.directory = m_directory.path()}).out,
                testing::AllOf(testing::HasSubstr("\n    a\n"), testing::HasSubstr("\n    b\n")));
}

TEST_F(Build, DependencyFileOverTheOutputOrASourceIsWrongUsage)
{
    write("a", "/a U8 1");
    write("s", "/a U8");
    for (const auto& [depfile, replaced] : {std::pair("out", "out"), {"./a", "a"}, {"./s", "s"}})
        expectResult(varnix({"build", "-o", "out", "--schema", "s", "--depfile", depfile, "a"}), 2,
                     "",
                     std::string("varnix: the dependency file would replace ") + replaced +
                         "; name another file with --depfile\n");
    expectResult(varnix({"build", "-o", "-", "--depfile", "out.d", "a"}), 2, "",
                 "varnix: --depfile needs an output file; name one with -o\n");
    EXPECT_EQ(files(), 2);
    EXPECT_EQ(read("a"), "/a U8 1");
    EXPECT_EQ(read("s"), "/a U8");
}

TEST_F(Build, OfAWrongSourceWritesNoDependencyFile)
{
    write("a", "wrong");
    EXPECT_EQ(varnix({"build", "-o", "out", "--depfile", "out.d", "a"}).status, 4);
    EXPECT_EQ(files(), 1);
}

TEST_F(Build, OfAWrongSourceNamesEveryErrorAndWritesNothing)
{
    write("a", "/a U8 256\n/b U8 1\nb U8 1\n");
    expectResult(varnix({"build", "a"}), 4, "",
                 "a:1:7: error: 256 is out of range: U8 holds 0 to 255\n"
                 "a:3:1: error: a key is \"/\" and at least one character more, not quoted\n");
    EXPECT_EQ(files(), 1);
}

TEST_F(Build, KeyInTwoSourcesNamesBothPlaces)
{
    write("a", "\n/a U8 1");
    write("b", "/a U8 1");
    expectResult(varnix({"build", "-o", "out", "a", "b"}), 4, "",
                 "b:1:1: error: /a is given twice; first at a:2:1\n");
}

TEST_F(Build, OfAWrongSourceLeavesTheOldOutput)
{
    write("out", "old");
    write("a", "wrong");
    EXPECT_EQ(varnix({"build", "-o", "out", "a"}).status, 4);
    EXPECT_EQ(read("out"), "old");
}

TEST_F(Build, OfAnAbsentSourceSaysSo)
{
    expectResult(varnix({"build", "-o", "out", "absent"}), 3, "",
                 "varnix: cannot open absent: No such file or directory\n");
    EXPECT_EQ(files(), 0);
}

TEST_F(Build, OfADirectorySaysSo)
{
    fs::create_directory(m_directory / "directory");
    expectResult(varnix({"build", "-o", "out", "directory"}), 3, "",
                 "varnix: cannot read directory: it is a directory\n");
}

TEST_F(Build, OfABinarySourceSaysWhere)
{
    write("a", DbBuilder().u8("/a", {1}).image());
    expectResult(varnix({"build", "-o", "out", "a"}), 4, "",
                 "a:1:2: error: not a text source: byte 0x4\n");
}

TEST_F(Build, IntoADirectoryIsRefused)
{
    fs::create_directory(m_directory / "directory");
    write("a", "/a U8 1");
    expectResult(varnix({"build", "-o", "directory", "a"}), 3, "",
                 "varnix: cannot write directory: it is a directory\n");
    EXPECT_EQ(files(), 2);
}

TEST_F(Build, OverItsSourceIsWrongUsage)
{
    write("a.db", "/a U8 1");
    expectResult(varnix({"build", "a.db"}), 2, "",
                 "varnix: the output would replace a.db; name another file with -o\n");
    EXPECT_EQ(varnix({"build", "-o", "./a.db", "a.db"}).status, 2);
    EXPECT_EQ(read("a.db"), "/a U8 1");
    write("s", "/a U8");
    expectResult(varnix({"build", "-o", "./s", "--schema", "s", "a.db"}), 2, "",
                 "varnix: the output would replace s; name another file with -o\n");
    EXPECT_EQ(read("s"), "/a U8");
}

TEST_F(Build, OfSeveralSourcesNeedsAnOutput)
{
    write("a", "/a U8 1");
    write("b", "/b U8 1");
    expectResult(varnix({"build", "a", "b"}), 2, "", "varnix: several sources need -o OUT\n");
}

TEST_F(Build, ThatCannotWriteItAllLeavesTheOldOutputAndNothingElse)
{
    write("a", "/a CHAR \"" + std::string(100000, 'x') + "\"");
    write("a.db", "old");
    const ProcessResult result = varnix({"build", "a"}, {.before = [] {
                                            const rlimit small{.rlim_cur = 4096, .rlim_max = 4096};
                                            ::setrlimit(RLIMIT_FSIZE, &small);
                                        }});
    expectResult(result, 3, "", "varnix: cannot write a.db: File too large\n");
    EXPECT_EQ(read("a.db"), "old");
    EXPECT_EQ(files(), 2);
}

TEST_F(Build, InADirectoryThatCannotBeWrittenLeavesTheOldOutput)
{
    write("a", "/a U8 1");
    write("a.db", "old");
    fs::permissions(m_directory.path(), fs::perms::owner_read | fs::perms::owner_exec);
    const ProcessResult result = varnix({"build", "a"}, {.before = withoutPrivileges});
    fs::permissions(m_directory.path(), fs::perms::owner_all);
    expectResult(result, 3, "", "varnix: cannot write a.db: Permission denied\n");
    EXPECT_EQ(read("a.db"), "old");
}

TEST_F(Build, OfASourceThatMayNotBeReadSaysSo)
{
    write("a", "/a U8 1");
    fs::permissions(m_directory / "a", fs::perms::none);
    expectResult(varnix({"build", "a"}, {.before = withoutPrivileges}), 3, "",
                 "varnix: cannot open a: Permission denied\n");
}

TEST_F(Build, ToAFullDeviceSaysSo)
{
    write("a", "/a U8 1");
    expectResult(varnix({"build", "-o", "-", "a"}, {.output = "/dev/full"}), 3, "",
                 "varnix: cannot write to standard output\n");
}

TEST_F(Build, OverridesOnlyWhereItIsToldTo)
{
    write("base", "/a U8 1\n/b U8 2\n");
    write("board", "/a U8 3\n");
    EXPECT_EQ(varnix({"build", "-o", "db", "base", "board"}).status, 4);
    expectResult(varnix({"build", "--override", "-o", "db", "base", "board"}), 0, "",
                 "board:1:1: note: /a overrides the value at base:1:1\n");
    EXPECT_EQ(read("db"), DbBuilder().u8("/a", {3}).u8("/b", {2}).image());
}

} // namespace
} // namespace Varnix::Test
