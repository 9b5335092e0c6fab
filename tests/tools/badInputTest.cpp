#include "tests/support/countOf.h"
#include "tests/support/nodeDirectory.h"
#include "tests/tools/toolTest.h"

#include <random>

#include <linux/securebits.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace Varnix::Test {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

constexpr int unreadable = 3;
constexpr int invalid = 4;
constexpr int nodeUnusable = 5;

/** Every subcommand with a file that it reads, and the statuses when that file is bad. */
struct Reader
{
    std::vector<std::string> arguments;
    int whenUnreadable;
    int whenInvalid;
    const char* production = "good";
};

/**
 * The file is called "bad" in each; "good" is a database file, "node.cfg" a configuration that
 * selects "bad" and "good.cfg" one that selects "good".
 */
const std::vector<Reader> readers{
    {{"build", "-o", "out", "bad"}, unreadable, invalid},
    {{"dump", "bad"}, unreadable, invalid},
    {{"dump", "--json", "bad"}, unreadable, invalid},
    {{"diff", "bad", "good"}, unreadable, invalid},
    {{"diff", "good", "bad"}, unreadable, invalid},
    {{"check", "bad"}, unreadable, 1},
    {{"get", "bad", "/a"}, nodeUnusable, invalid},
    {{"get", "--json", "bad", "/a"}, nodeUnusable, invalid},
    {{"explain", "bad"}, nodeUnusable, invalid},
    {{"get", "node.cfg", "/a"}, nodeUnusable, nodeUnusable},
    {{"explain", "node.cfg"}, nodeUnusable, nodeUnusable},
    {{"get", "good.cfg", "/a"}, nodeUnusable, nodeUnusable, "bad"},
    {{"explain", "good.cfg"}, nodeUnusable, nodeUnusable, "bad"},
};

class BadInput : public ToolTest
{
protected:
    BadInput()
    {
        DbBuilder().text("/componentConfigId", "a_1").u8("/a", {1, 2}).write(m_directory / "good");
        write("node.cfg", configText({{"a", "1", {"bad"}}}));
        write("good.cfg", configText({{"a", "1", {"good"}}}));
        write("out", "old");
    }

    ProcessResult tool(const std::vector<std::string>& arguments, ProcessSetup setup = {},
                       const std::string& production = "good")
    {
        setup.environment = {"sys_uflash_prod_db_dev=" + production, "sys_uflash_prod_db_dev_dev",
                             "VARNIX_ITC_DIR=" + (m_directory / "itc").string()};
        return varnix(arguments, std::move(setup));
    }

    /** The program ended by itself with the status, said why, and touched no file. */
    void expectRefused(const ProcessResult& result, int status, std::ptrdiff_t filesBefore)
    {
        EXPECT_EQ(result.signal, 0);
        EXPECT_EQ(result.status, status) << result.err;
        EXPECT_THAT(result.out + result.err, HasSubstr("bad"));
        EXPECT_EQ(read("out"), "old");
        EXPECT_EQ(databaseFiles(), filesBefore);
    }

    /** All files but what the mailbox library keeps. */
    std::ptrdiff_t databaseFiles() const { return files() - (exists("itc") ? 1 : 0); }

    void expectUnreadable(const ProcessSetup& setup = {})
    {
        for (const Reader& reader : readers) {
            SCOPED_TRACE(testing::PrintToString(reader.arguments));
            const std::ptrdiff_t before = databaseFiles();
            expectRefused(tool(reader.arguments, setup, reader.production), reader.whenUnreadable,
                          before);
        }
    }
};

TEST_F(BadInput, OfRandomBytesIsRefusedByEverySubcommand)
{
    std::mt19937 random(1);
    for (const std::size_t size : {1U, 9U, 10U, 11U, 100U, 5000U}) {
        // The first byte is neither a database's nor a comment's.
        std::string bytes = "!";
        while (bytes.size() < size)
            bytes.push_back(static_cast<char>(random()));
        write("bad", bytes);
        const std::ptrdiff_t before = databaseFiles();
        for (const Reader& reader : readers) {
            SCOPED_TRACE(testing::PrintToString(reader.arguments));
            expectRefused(tool(reader.arguments, {}, reader.production), reader.whenInvalid,
                          before);
        }
    }
}

TEST_F(BadInput, OfAFileCutAtAnyByteIsReportedWithThePlace)
{
    const std::string image = read("good");
    for (std::size_t size = 0; size < image.size(); size += everyNth()) {
        write("bad", image.substr(0, size));
        const ProcessResult dump = tool({"dump", "bad"});
        EXPECT_EQ(dump.status, invalid);
        EXPECT_THAT(dump.out, IsEmpty());
        EXPECT_THAT(dump.err, MatchesRegex("bad:@0x[0-9a-f]+: error: the file ends [^\n]*\n"));
        EXPECT_EQ(tool({"check", "bad"}).status, 1);
    }
}

TEST_F(BadInput, OfAFileWithAnyByteChangedIsNeverAnotherValue)
{
    const std::string image = read("good");
    const std::string value = tool({"dump", "good"}).out;
    for (std::size_t place = 0; place < image.size(); place += everyNth()) {
        std::string changed = image;
        changed[place] = static_cast<char>(changed[place] ^ 0x10);
        write("bad", changed);
        const ProcessResult dump = tool({"dump", "bad"});
        // The two bytes before the checksum are covered by nothing; dump shows them.
        const bool isCovered = place + 4 != image.size() && place + 3 != image.size();
        EXPECT_EQ(dump.status, isCovered ? invalid : 0) << place;
        EXPECT_NE(dump.out, value) << place;
    }
}

TEST_F(BadInput, OfASelectedFileThatIsCutGivesAClientNoValue)
{
    write("bad", read("good").substr(0, 30));
    for (const char* subcommand : {"get", "explain"}) {
        const ProcessResult result = tool({subcommand, "node.cfg", "/a"});
        EXPECT_EQ(result.status, nodeUnusable);
        EXPECT_THAT(result.out + result.err, HasSubstr("bad:@0x1e: error: the file ends early"));
    }
}

TEST_F(BadInput, ThatIsADirectoryIsCalledOne)
{
    fs::create_directory(m_directory / "bad");
    expectUnreadable();
}

TEST_F(BadInput, ThatMayNotBeReadIsCalledSo)
{
    write("bad", "");
    fs::permissions(m_directory / "bad", fs::perms::none);
    expectUnreadable({.before = [] { ::prctl(PR_SET_SECUREBITS, SECBIT_NOROOT); }});
}

TEST_F(BadInput, ThatIsADeviceIsRefusedAndNotReadForever)
{
    for (const char* device : {"/dev/null", "/dev/zero", "/dev/full"}) {
        SCOPED_TRACE(device);
        fs::remove(m_directory / "bad");
        fs::create_symlink(device, m_directory / "bad");
        expectUnreadable();
    }
}

TEST_F(BadInput, ThatIsADeviceAsOutputIsRefused)
{
    write("a.txt", "/a U8 1");
    const ProcessResult result = varnix({"build", "-o", "/dev/full", "a.txt"});
    EXPECT_EQ(result.status, unreadable);
    EXPECT_THAT(result.err, HasSubstr("cannot write /dev/full"));
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(BadInput, ResultsThatCannotBeWrittenAreAnError)
{
    for (const std::vector<std::string>& arguments : {std::vector{"dump"s, "good"s},
                                                      {"dump", "--json", "good"},
                                                      {"get", "node.cfg", "/a"},
                                                      {"explain", "node.cfg"},
                                                      {"check", "cut"},
                                                      {"diff", "good", "other"}}) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        DbBuilder().u8("/b", {1}).write(m_directory / "bad");
        DbBuilder().u8("/b", {1}).write(m_directory / "other");
        write("cut", read("good").substr(0, 30));
        const ProcessResult result = tool(arguments, {.output = "/dev/full"});
        EXPECT_EQ(result.status, unreadable);
        EXPECT_THAT(result.err, HasSubstr("cannot write to standard output"));
    }
}

TEST_F(BadInput, StaysTheReasonWhereTheResultCannotBeWrittenEither)
{
    fs::remove(m_directory / "bad");
    const ProcessResult result = tool({"explain", "node.cfg"}, {.output = "/dev/full"});
    EXPECT_EQ(result.status, nodeUnusable);
    EXPECT_THAT(result.err, HasSubstr("cannot write to standard output"));
}

/** A disk of 64 KiB, for those who may mount one. */
class SmallDisk
{
public:
    explicit SmallDisk(fs::path place) : m_place(std::move(place))
    {
        fs::create_directory(m_place);
        m_isMounted = ::mount("tmpfs", m_place.c_str(), "tmpfs", 0, "size=64k") == 0;
    }
    ~SmallDisk()
    {
        if (m_isMounted)
            ::umount(m_place.c_str());
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool isMounted() const noexcept { return m_isMounted; }

private:
    fs::path m_place;
    bool m_isMounted = false;
};

/** Where no disk can be mounted, a limit on the size of files does instead. */
TEST_F(BadInput, FullDiskLeavesTheOldTargetAndNothingElse)
{
    write("a.txt", "/a CHAR \"" + std::string(100000, 'x') + "\"");
    const SmallDisk disk(m_directory / "disk");
    write("disk/out", "old");
    ProcessSetup setup;
    if (!disk.isMounted())
        setup.before = [] {
            const rlimit small{.rlim_cur = 65536, .rlim_max = 65536};
            ::setrlimit(RLIMIT_FSIZE, &small);
        };
    const ProcessResult result = varnix({"build", "-o", "disk/out", "a.txt"}, setup);
    EXPECT_EQ(result.status, unreadable);
    EXPECT_THAT(result.err, HasSubstr("varnix: cannot write disk/out: "));
    EXPECT_EQ(read("disk/out"), "old");
    EXPECT_EQ(std::distance(fs::directory_iterator(m_directory / "disk"), {}), 1);
}

} // namespace
} // namespace Varnix::Test
