#include "schema/report.h"

#include "tests/schema/schemaText.h"
#include "tests/support/dbBuilder.h"

namespace Varnix::Test {
namespace {

using Texts = std::vector<std::string>;

Texts textsOf(const std::vector<Schema::Report>& reports)
{
    Texts texts;
    for (const Schema::Report& report : reports)
        texts.push_back(describe(report, "error"));
    return texts;
}

Texts inSource(std::string_view schema, const std::string& source)
{
    DbFile::SourceParser parser;
    parser.parse("in", source);
    EXPECT_TRUE(parser.errors().empty());
    return textsOf(
        reportSources(schemaOf(schema), parser, {{"in", source}}, Schema::Coverage::CLOSED));
}

TEST(SchemaReport, NamesTheElementInItsLine)
{
    EXPECT_EQ(inSource("/a U8 0..63", "\r\n\n/a  U8 1\t2 70 # x\r\n"),
              Texts{"in:3:12: error: 70 is above 63 (s:1)"});
    EXPECT_EQ(inSource("/a CHAR x|y", "/a CHAR \"z\""),
              Texts{R"(in:1:9: error: "z" is none of x|y (s:1))"});
}

TEST(SchemaReport, NamesTheTypeOrTheKeyWhereTheyAreMeant)
{
    EXPECT_EQ(inSource("/a U16", "  /a U8 1"), Texts{"in:1:6: error: U8 is not U16 (s:1)"});
    EXPECT_EQ(inSource("/a U8[2]", "/a U8"),
              Texts{"in:1:4: error: the number of elements is 0, not 2 (s:1)"});
    EXPECT_EQ(inSource("", "  /a U8 1"),
              Texts{"in:1:3: error: no line of a schema describes \"/a\""});
}

TEST(SchemaReport, NamesTheElementOfARecordDirective)
{
    EXPECT_EQ(inSource("/a U8 0..1", "#! record 46 \"/a\" U8 1 2"),
              Texts{"in:1:24: error: 2 is above 1 (s:1)"});
}

TEST(SchemaReport, NamesTheOffsetInADatabaseFile)
{
    // The header takes 10 bytes; a record is a tag, the key and its NUL, a type, a length of three
    // bytes, and the data.
    const std::string image = DbBuilder().u16("/a", {1, 70}).u8("/b", {1}).image();
    const auto reports = [&image](std::string_view schema) {
        return textsOf(reportImage(schemaOf(schema), "db", image, Schema::Coverage::OPEN));
    };
    EXPECT_EQ(reports("/a U16 0..63"), Texts{"db:@0x14: error: 70 is above 63 (s:1)"});
    EXPECT_EQ(reports("/b U16"), Texts{"db:@0x1a: error: U8 is not U16 (s:1)"});
    EXPECT_EQ(reports("/a U16[3]"),
              Texts{"db:@0xf: error: the number of elements is 2, not 3 (s:1)"});
    EXPECT_EQ(reports("/b U8 deprecated"), Texts{"db:@0x17: error: /b is deprecated (s:1)"});
}

TEST(SchemaReport, LeavesOutARecordThatNoClientReads)
{
    const std::string image = DbBuilder().u8("a", {1}).image();
    EXPECT_EQ(textsOf(reportImage(schemaOf(""), "db", image, Schema::Coverage::CLOSED)), Texts());
}

} // namespace
} // namespace Varnix::Test
