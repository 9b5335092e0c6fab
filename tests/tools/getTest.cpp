#include "dbfile/descriptor.h"
#include "tests/support/nodeDirectory.h"
#include "tests/tools/toolTest.h"

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

namespace Varnix::Test {
namespace {

using namespace std::string_literals;
using Json = nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

/** A node with one component of every type. */
class Get : public ToolTest
{
protected:
    Get()
    {
        DbBuilder()
            .text("/componentConfigId", "board-x_R2B unit_1")
            .u8("/both", {1})
            .write(m_directory / "prod.db");
        DbBuilder()
            .u8("/u8", {0, 255})
            .s8("/s8", {-128, 127})
            .u16("/u16", {0, 65535})
            .s16("/s16", {-32768})
            .u32("/u32", {4294967295})
            .s32("/s32", {-2147483648})
            .text("/text", "two  words ")
            .text("/bytes", "\xFF\0"s)
            .u8("/both", {2})
            .u8("/empty", {})
            .record({.key = "/unnamed", .type = 9, .data = "x"})
            .write(m_directory / "unit.db");
        writeConfig("unit.db");
    }

    void writeConfig(const std::string& database) const
    {
        write("node.cfg", "varnix: { component_versions = ( { component_id = \"board-*\"; "
                          "revision = \"R2*\"; file_paths = [ \"" +
                              database + "\" ]; } ); };\n");
    }

    ProcessResult get(std::vector<std::string> arguments,
                      std::vector<std::string> production = {secondVariable + "=prod.db"s,
                                                             firstVariable})
    {
        arguments.insert(arguments.begin(), "get");
        production.push_back("VARNIX_ITC_DIR=" + (m_directory / "itc").string());
        return varnix(std::move(arguments), {.environment = std::move(production)});
    }
};

TEST_F(Get, OneKeyGivesItsBareValue)
{
    const std::vector<std::pair<std::string, std::string>> values{
        {"/u8", "0 255"},         {"/s8", "-128 127"},    {"/u16", "0 65535"},
        {"/s16", "-32768"},       {"/u32", "4294967295"}, {"/s32", "-2147483648"},
        {"/text", "two  words "}, {"/bytes", "\xFF\0"s},
    };
    for (const auto& [key, value] : values)
        expectResult(get({"node.cfg", key}), 0, value + "\n", "");
}

TEST_F(Get, SeveralKeysStandBeforeTheirValuesInTheOrderAskedFor)
{
    expectResult(get({"node.cfg", "/u8", "/text", "/componentConfigId"}), 0,
                 "/u8\t0 255\n/text\ttwo  words \n/componentConfigId\tboard-x_R2B unit_1\n", "");
}

TEST_F(Get, SeveralKeysCannotForgeALine)
{
    DbBuilder()
        .text("/lines", "a\n/u8\t1")
        .text("/tab\tx\n", "\033[2J\xC2\x9B")
        .text("/quoted", "\"a\\n\"")
        .text("/bytes", "\xFF\0"s)
        .text("/umlaut", "\xC3\xBC \\n")
        .write(m_directory / "unit.db");
    expectResult(get({"node.cfg", "/lines", "/tab\tx\n", "/quoted", "/bytes", "/umlaut"}), 0,
                 "/lines\t\"a\\n/u8\\t1\"\n"
                 "\"/tab\\tx\\n\"\t\"\\x1b[2J\\xc2\\x9b\"\n"
                 "/quoted\t\"\\\"a\\\\n\\\"\"\n"
                 "/bytes\t\"\\xff\\x00\"\n"
                 "/umlaut\t\xC3\xBC \\n\n",
                 "");
    expectResult(get({"node.cfg", "/lines"}), 0, "a\n/u8\t1\n", "");
    expectResult(get({"node.cfg", "/no\n\033"}), 1, "",
                 "varnix: /no\\n\\x1b: there is no such key; see varnix explain node.cfg "
                 "/no\\n\\x1b\n");
}

TEST_F(Get, ProductionDatabaseHidesTheComponents)
{
    expectResult(get({"node.cfg", "/both"}), 0, "1\n", "");
}

TEST_F(Get, AbsentKeyIsNamedAndTheOthersPrinted)
{
    expectResult(get({"node.cfg", "/absent", "/s16"}), 1, "/s16\t-32768\n",
                 "varnix: /absent: there is no such key; see varnix explain node.cfg /absent\n");
}

TEST_F(Get, KeyThatNoReadAcceptsIsNotAbsent)
{
    for (const std::string key : {"/empty", "/unnamed"}) {
        expectResult(get({"node.cfg", key}), 1, "",
                     "varnix: " + key +
                         ": no read accepts it: its type has no name, or it is empty and has none; "
                         "see varnix explain node.cfg " +
                         key + '\n');
    }
}

TEST_F(Get, ValueOfTheTypeAskedForIsPrinted)
{
    expectResult(get({"--type", "U16", "node.cfg", "/u16"}), 0, "0 65535\n", "");
}

TEST_F(Get, ValueOfAnotherTypeIsRefusedAndBothTypesNamed)
{
    expectResult(get({"--type", "S16", "node.cfg", "/u16", "/s16"}), 1, "/s16\t-32768\n",
                 "varnix: /u16: it is U16, not S16; see varnix explain node.cfg /u16\n");
}

TEST_F(Get, UnknownTypeIsWrongUsage)
{
    EXPECT_EQ(get({"--type", "U64", "node.cfg", "/u16"}).status, 2);
}

TEST_F(Get, DefaultIsPrintedForAnAbsentKeyAlone)
{
    expectResult(get({"--default", "-1 x", "node.cfg", "/absent"}), 0, "-1 x\n", "");
    expectResult(get({"--default", "", "node.cfg", "/absent"}), 0, "\n", "");
    expectResult(get({"--default", "7", "node.cfg", "/s16"}), 0, "-32768\n", "");
    expectResult(get({"--type", "U8", "--default", "7", "node.cfg", "/absent"}), 0, "7\n", "");
}

TEST_F(Get, DefaultDoesNotStandInForAnotherTypeOrAnUnusableNode)
{
    EXPECT_EQ(get({"--type", "U8", "--default", "7", "node.cfg", "/s16"}).status, 1);
    EXPECT_EQ(get({"--default", "7", "node.cfg", "/unnamed"}).status, 1);
    EXPECT_EQ(get({"--default", "7", "absent.cfg", "/s16"}).status, 5);
    std::string image = read("unit.db");
    image[20] = static_cast<char>(image[20] ^ 1);
    write("unit.db", image);
    const ProcessResult result = get({"--default", "7", "node.cfg", "/absent"});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.out, "");
}

TEST_F(Get, DefaultAsJsonIsMarked)
{
    EXPECT_EQ(Json::parse(get({"--json", "--default", "7", "node.cfg", "/absent"}).out)["values"],
              Json::parse(R"([{"key": "/absent", "default": true, "value": "7"}])"));
}

TEST_F(Get, AsJsonIsOneDocumentWithErrors)
{
    const ProcessResult result =
        get({"--json", "node.cfg", "/u16", "/s8", "/text", "/bytes", "/absent"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(Json::parse(result.out), Json::parse(R"({
        "config": "node.cfg",
        "values": [
            {"key": "/u16", "type": "U16", "value": [0, 65535]},
            {"key": "/s8", "type": "S8", "value": [-128, 127]},
            {"key": "/text", "type": "CHAR", "value": "two  words "},
            {"key": "/bytes", "type": "CHAR", "bytes": "ff 00"}
        ],
        "errors": [
            {"key": "/absent", "message":
             "varnix: /absent: there is no such key; see varnix explain node.cfg /absent",
             "status": 1}
        ]
    })"));
}

TEST_F(Get, WithoutAProductionDatabaseSaysWhichVariablesAreUnset)
{
    expectResult(get({"node.cfg", "/u8"}, {firstVariable, secondVariable}), 5, "",
                 "varnix: no production database: neither sys_uflash_prod_db_dev_dev nor "
                 "sys_uflash_prod_db_dev is set in the environment\n"
                 "Name one in the environment.\n");
}

TEST_F(Get, ProductionDatabaseThatCannotBeOpenedIsNamedWithItsVariable)
{
    expectResult(get({"node.cfg", "/u8"}, {firstVariable, secondVariable + "=absent"s}), 5, "",
                 "varnix: no production database: sys_uflash_prod_db_dev: cannot open absent: No "
                 "such file or directory\nName one in the environment.\n");
}

TEST_F(Get, CorruptProductionDatabaseIsNamedWithItsVariable)
{
    std::string image = read("prod.db");
    image[20] = '?';
    write("prod.db", image);
    const ProcessResult result = get({"node.cfg", "/u8"});
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.err, AllOf(StartsWith("varnix: no production database: "
                                             "sys_uflash_prod_db_dev: prod.db:@0x"),
                                  HasSubstr("the checksum does not match")));
}

TEST_F(Get, BothProductionDatabasesAreNamedWhenNeitherCanBeUsed)
{
    const ProcessResult result =
        get({"node.cfg", "/u8"}, {firstVariable + "=one"s, secondVariable + "=two"s});
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.err, AllOf(HasSubstr("sys_uflash_prod_db_dev_dev: cannot open one"),
                                  HasSubstr("sys_uflash_prod_db_dev: cannot open two")));
}

TEST_F(Get, SecondProductionDatabaseIsNotLookedAtWhenTheFirstServes)
{
    write("short.db", read("prod.db").substr(0, 20)); // the library would wait for its rest
    expectResult(
        get({"node.cfg", "/both"}, {firstVariable + "=prod.db"s, secondVariable + "=short.db"s}), 0,
        "1\n", "");
}

TEST_F(Get, APipeThatIsTheSecondProductionDatabaseIsNotReadWhenTheFirstServes)
{
    const std::filesystem::path pipe = m_directory / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const DbFile::Descriptor end(::open(pipe.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    ASSERT_EQ(::write(end.get(), "x", 1), 1);
    const ProcessSetup setup{
        .environment = {firstVariable + "=prod.db"s, secondVariable + "=pipe"s}};
    EXPECT_EQ(varnix({"get", "node.cfg", "/both"}, setup).status, 0);
    EXPECT_EQ(varnix({"explain", "node.cfg", "/both"}, setup).status, 0);
    char left = 0;
    EXPECT_EQ(::read(end.get(), &left, 1), 1);
}

TEST_F(Get, ProductionDatabaseThatReachesOutsideItselfIsNotReplacedByTheSecond)
{
    write("outside.db", imageThatReachesOutside());
    expectResult(
        get({"node.cfg", "/both"}, {firstVariable + "=outside.db"s, secondVariable + "=prod.db"s}),
        5, "",
        "varnix: no production database: sys_uflash_prod_db_dev_dev: outside.db:@0x13: "
        "error: a record of 16777223 bytes does not end before 0x36, where the checksum "
        "ends\nName one in the environment.\n");
}

TEST_F(Get, ComponentFileThatReachesOutsideItselfIsNamed)
{
    write("unit.db", imageThatReachesOutside());
    expectResult(get({"node.cfg", "/a"}), 5, "",
                 "varnix: a database file that node.cfg selects cannot be used: unit.db:@0x13: "
                 "error: a record of 16777223 bytes does not end before 0x36, where the checksum "
                 "ends\n");
}

TEST_F(Get, ValueThatReachesPastTheRecordsIsWhole)
{
    write("unit.db", imageThatOverlaps());
    expectResult(get({"node.cfg", "/b"}), 0, "0123456789ABCD\n", "");
}

TEST_F(Get, SecondProductionDatabaseServesWhenTheFirstCannotBeUsed)
{
    expectResult(
        get({"node.cfg", "/both"}, {firstVariable + "=absent"s, secondVariable + "=prod.db"s}), 0,
        "1\n", "");
}

TEST_F(Get, CutProductionDatabaseIsReportedAndNotWaitedFor)
{
    write("prod.db", read("prod.db").substr(0, 40));
    const ProcessResult result = get({"node.cfg", "/u8"});
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.err, StartsWith("varnix: no production database: sys_uflash_prod_db_dev: "
                                       "prod.db:@0x28: error: the file ends early"));
}

TEST_F(Get, ProductionDatabaseWithoutIdentitiesSaysSo)
{
    DbBuilder().u8("/both", {1}).write(m_directory / "prod.db");
    expectResult(get({"node.cfg", "/u8"}), 5, "",
                 "varnix: no identities: the production database prod.db holds no text at "
                 "/componentConfigId\nAdd it to its source.\n");
}

TEST_F(Get, AbsentConfigurationSaysSo)
{
    expectResult(get({"absent.cfg", "/u8"}), 5, "",
                 "varnix: no configuration: cannot open absent.cfg: No such file or directory\n");
}

TEST_F(Get, DirectoryAsConfigurationSaysSo)
{
    expectResult(get({".", "/u8"}), 5, "",
                 "varnix: no configuration: . is a directory or a device\n");
}

TEST_F(Get, PipeAsConfigurationSaysSoAndIsNotWaitedFor)
{
    ASSERT_EQ(::mkfifo((m_directory / "pipe").c_str(), 0600), 0);
    expectResult(get({"pipe", "/u8"}), 5, "",
                 "varnix: no configuration: pipe is a pipe or a socket\n");
}

TEST_F(Get, WithoutAConfigurationIsWrongUsage)
{
    for (const std::string command : {"get", "explain"})
        expectResult(varnix({command}), 2, "",
                     "varnix: CONFIG is required\nTry varnix " + command + " --help.\n");
    expectResult(varnix({"get", "node.cfg"}), 2, "",
                 "varnix: KEY is required\nTry varnix get --help.\n");
}

TEST_F(Get, WrongConfigurationSaysWhere)
{
    write("node.cfg", "varnix: {\n  component_versions = (;\n");
    expectResult(get({"node.cfg", "/u8"}), 4, "", "node.cfg:2: error: syntax error\n");
}

TEST_F(Get, ComponentDatabaseThatCannotBeUsedIsNamed)
{
    writeConfig("absent.db");
    expectResult(get({"node.cfg", "/u8"}), 5, "",
                 "varnix: a database file that node.cfg selects cannot be used: cannot open "
                 "absent.db: No such file or directory\n");
}

TEST_F(Get, UnusableNodeAsJsonIsADocumentToo)
{
    const std::string message =
        "varnix: no configuration: cannot open absent.cfg: No such file or directory";
    const ProcessResult result = get({"--json", "absent.cfg", "/u8"});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.err, message + '\n');
    EXPECT_EQ(Json::parse(result.out), Json({{"errors", {{{"message", message}, {"status", 5}}}}}));
}

} // namespace
} // namespace Varnix::Test
