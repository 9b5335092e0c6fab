#include "tests/tools/toolTest.h"

#include <nlohmann/json.hpp>

namespace Varnix::Test {
namespace {

using namespace std::string_literals;
using Json = nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

class Dump : public ToolTest
{
protected:
    void writeDb(const DbBuilder& builder) const { builder.write(m_directory / "db"); }
};

TEST_F(Dump, ShowsAFileAsAText)
{
    writeDb(DbBuilder()
                .u16("/unit/gain", {17, 31})
                .text("/unit/label", "say \"hi\"")
                .reserved("\0\0\0\x01"s));
    expectResult(varnix({"dump", "db"}), 0,
                 "#! reserved 00 00 00 01\n"
                 "/unit/gain U16 17 31\n"
                 "/unit/label CHAR \"say \\\"hi\\\"\"\n",
                 "");
}

TEST_F(Dump, IsUndoneByBuild)
{
    writeDb(DbBuilder().u8("/a", {1}).u8("no slash", {2}).tail("odd").extra("more"));
    write("text", varnix({"dump", "db"}).out);
    EXPECT_EQ(varnix({"build", "-o", "again", "text"}).status, 0);
    EXPECT_EQ(read("again"), read("db"));
}

TEST_F(Dump, ShowsInACommentARecordThatReachesPastTheTail)
{
    write("db", imageThatOverlaps());
    expectResult(varnix({"dump", "db"}), 0,
                 "#! tail 46 2f 62 00 0a 00 00 0e 30 31 32 33 34 35 36 37 38 39 41 42\n"
                 "#! unchecked 43 44\n"
                 "# a loader also reads, from the bytes at the end: \"/b\" CHAR "
                 "\"0123456789ABCD\"\n",
                 "");
    write("text", varnix({"dump", "db"}).out);
    EXPECT_EQ(varnix({"build", "-o", "again", "text"}).status, 0);
    EXPECT_EQ(read("again"), read("db"));
    EXPECT_EQ(Json::parse(varnix({"dump", "--json", "db"}).out)["overlap"],
              Json({{"key", "/b"}, {"type", "CHAR"}, {"value", "0123456789ABCD"}}));
}

TEST_F(Dump, OfAFileThatReachesOutsideItselfSaysSo)
{
    write("db", imageThatReachesOutside());
    expectResult(varnix({"dump", "db"}), 4, "",
                 "db:@0x13: error: a record of 16777223 bytes does not end before 0x36, where the "
                 "checksum ends\n");
}

TEST_F(Dump, OfAnAbsentFileCannotOpenIt)
{
    expectResult(varnix({"dump", "db"}), 3, "",
                 "varnix: cannot open db: No such file or directory\n");
}

TEST_F(Dump, OfAFileOfAnotherKindSaysSo)
{
    write("db", "something else entirely");
    const ProcessResult result = varnix({"dump", "db"});
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.err, StartsWith("db:@0x0: error: not a database file"));
    EXPECT_EQ(result.out, "");
}

TEST_F(Dump, OfACutFileSaysSo)
{
    write("db", DbBuilder().u8("/a", {1}).image().substr(0, 30));
    expectResult(varnix({"dump", "db"}), 4, "",
                 "db:@0x1e: error: the file ends early: it holds 30 bytes, its header says 33\n");
}

TEST_F(Dump, OfACorruptFileSaysSo)
{
    std::string image = DbBuilder().u8("/a", {1}).image();
    image[18] = 2;
    write("db", image);
    const ProcessResult result = varnix({"dump", "db"});
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.err, StartsWith("db:@0x1f: error: the checksum does not match"));
}

TEST_F(Dump, AsJsonIsOneDocument)
{
    writeDb(DbBuilder()
                .u16("/n", {17, 65535})
                .s8("/s", {-1})
                .text("/t", "text\0more"s)
                .text("/b", "\xFF")
                .record({.key = "x", .type = 9, .data = "ab"})
                .record({.tag = 'G', .key = "/g", .type = 4, .data = "a"}));
    const ProcessResult result = varnix({"dump", "--json", "db"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(Json::parse(result.out), Json::parse(R"({
        "file": "db",
        "reserved": "00 00 00 00",
        "records": [
            {"key": "/n", "type": "U16", "value": [17, 65535]},
            {"key": "/s", "type": "S8", "value": [-1]},
            {"key": "/t", "type": "CHAR", "value": "text\u0000more"},
            {"key": "/b", "type": "CHAR", "bytes": "ff"},
            {"key": "x", "type": 9, "bytes": "61 62"},
            {"tag": "47", "key": "/g", "type": "U16", "bytes": "61"}
        ],
        "tail": "00 00 00 00 00 00 00 00 00 00",
        "unchecked": "00 00",
        "extra": "",
        "errors": []
    })"));
}

TEST_F(Dump, AsJsonTellsErrorsInTheDocument)
{
    const ProcessResult result = varnix({"dump", "--json", "absent"});
    EXPECT_EQ(result.status, 3);
    const std::string message = "varnix: cannot open absent: No such file or directory";
    EXPECT_EQ(result.err, message + '\n');
    EXPECT_EQ(Json::parse(result.out), Json({{"errors", {{{"message", message}, {"status", 3}}}}}));
}

TEST_F(Dump, LikeASourceKeepsItsComments)
{
    write("a", "# the gain\n/gain U8 0x01 # in dB\n");
    DbBuilder().u8("/gain", {2}).write(m_directory / "db");
    expectResult(varnix({"dump", "--like", "a", "db"}), 0, "# the gain\n/gain U8 2 # in dB\n", "");
    write("a", "/gain\n");
    expectResult(varnix({"dump", "--like", "a", "db"}), 4, "",
                 "a:1:6: error: the type is missing\n");
    EXPECT_EQ(varnix({"dump", "--like", "a", "--json", "db"}).status, 2);
}

} // namespace
} // namespace Varnix::Test
