#include "tests/support/nodeDirectory.h"
#include "tests/tools/toolTest.h"

#include <nlohmann/json.hpp>

namespace Varnix::Test {

namespace {

using Json = nlohmann::json;

/** A node whose production database holds some of its component's keys. */
class Try : public ToolTest
{
protected:
    Try()
    {
        node.production(
            DbBuilder().text("/componentConfigId", "unit_R1").u8("/both", {1}).u8("/fixed", {4}));
        config =
            node.configuration("unit.cfg", {{"unit",
                                             "R1",
                                             {node.database("unit.db", DbBuilder()
                                                                           .u16("/gain", {1, 2, 3})
                                                                           .s32("/offset", {-1})
                                                                           .text("/label", "old")
                                                                           .u16("/both", {2})
                                                                           .u8("/empty", {}))}}});
    }

    ProcessResult tried(std::vector<std::string> words, std::vector<std::string> options = {})
    {
        std::vector<std::string> line{"try"};
        line.insert(line.end(), options.begin(), options.end());
        line.push_back(config);
        line.insert(line.end(), {"db", "write"});
        line.insert(line.end(), words.begin(), words.end());
        return varnix(line);
    }

    void expectTaken(const std::vector<std::string>& words, const std::string& effect)
    {
        expectResult(tried(words), 0, config + "\t" + effect + "\n", "");
    }

    void expectRefused(const std::vector<std::string>& words, const std::string& text)
    {
        expectResult(tried(words), 1, config + "\trefused: " + text + "\n", "");
    }

    NodeDirectory node;
    std::string config;
};

TEST_F(Try, AValueThatASchemaDoesNotAllowIsRefusedWithBothPlaces)
{
    write("s", "/gain U16 0..63\n/label CHAR deprecated\n");
    const auto against = [this](const std::vector<std::string>& words) {
        return tried(words, {"--schema", "s"});
    };
    expectResult(against({"/gain", "64"}), 1, config + "\trefused: 64 is above 63 (s:1)\n", "");
    expectResult(against({"/gain", "63"}), 0, config + "\t1 2 3 -> 63 2 3\n", "");
    expectResult(tried({"/offset", "1"}, {"--schema", "s", "--closed"}), 1,
                 config + "\trefused: no line of a schema describes \"/offset\"\n", "");
}

TEST_F(Try, AValueThatASchemaFaultsTwiceIsRefusedForBoth)
{
    write("s", "/gain U16[2] 0..63\n");
    expectResult(
        tried({"/gain", "64"}, {"--schema", "s"}), 1,
        config + "\trefused: the number of elements is 3, not 2 (s:1); 64 is above 63 (s:1)\n", "");
}

TEST_F(Try, WhatTheLibraryRefusesIsNotHeldAgainstASchema)
{
    write("s", "/gain U16 9..63 deprecated\n");
    expectResult(tried({"/gain", "65536"}, {"--schema", "s"}), 1,
                 config + "\trefused: Can not store the value 65536 in a key with datatype: U16\n",
                 "");
}

TEST_F(Try, AWriteToADeprecatedParameterIsTakenWithAWarning)
{
    write("s", "/label CHAR deprecated\n");
    expectResult(tried({"/label", "-c", "new"}, {"--schema", "s"}), 0,
                 config + "\t\"old\" -> \"new\"\n",
                 "varnix: warning: /label is deprecated (s:1)\n");
    const ProcessResult result = tried({"/label", "-c", "new"}, {"--schema", "s", "--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(nlohmann::json::parse(result.out)["databases"][0]["warnings"],
              nlohmann::json({"/label is deprecated (s:1)"}));
}

TEST_F(Try, AWriteThatIsTakenShowsTheOldAndTheNewValue)
{
    expectTaken({"/gain", "7"}, "1 2 3 -> 7 2 3");
    expectTaken({"/gain", "-i", "1", "8", "0x9"}, "1 2 3 -> 1 8 9");
    expectTaken({"/gain", "-i", "1", "-r", "2", "5"}, "1 2 3 -> 1 5 5");
    expectTaken({"/offset", "-2147483648"}, "-1 -> -2147483648");
    expectTaken({"/label", "-c", "new text"}, "\"old\" -> \"new text\"");
    expectTaken({"/label", "-a", "er"}, "\"old\" -> \"old er\"");
}

TEST_F(Try, AWriteThatIsRefusedSaysWhatTheLibraryTraces)
{
    expectRefused({"/gain", "65536"}, "Can not store the value 65536 in a key with datatype: U16");
    expectRefused({"/gain", "1", "2", "3", "4"},
                  "Can not update a key with 3 values, with  4 values");
    expectRefused({"/gain", "-i", "3", "1"}, "Index out of range: 3");
    expectRefused({"/gain", "1a"}, "Invalid value: 1a");
    expectRefused({"/gain", "12345678901"}, "Value too large: 12345678901");
    expectRefused({"/gain", "-"}, "DBCSI_DBWRITE_IND could not be handled: stoll");
    expectRefused({"/gain", "-i", "x", "1"}, "DBCSI_DBWRITE_IND with invalid index: x");
    expectRefused({"/gain", "-c", "text"},
                  "Can not update  key with datatype: U16 with the string text");
    expectRefused({"/label", "-c", "a/b"}, "Invalid characters in string: a/b");
    expectRefused({"/label", "1"}, "Can not store the value 1 in a key with datatype: CHAR");
    expectRefused({"/empty", "1"}, "Can not update a key with datatype: UNDEFINED");
}

TEST_F(Try, EveryDatabaseThatHoldsTheKeyIsShown)
{
    expectResult(tried({"/both", "7"}), 0, "production\t1 -> 7\n" + config + "\t2 -> 7\n", "");
    expectResult(tried({"/both", "256"}), 1,
                 "production\trefused: Can not store the value 256 in a key with datatype: U8\n" +
                     config + "\t2 -> 256\n",
                 "");
    expectResult(tried({"/fixed", "5"}), 0, "production\t4 -> 5\n", "");
}

TEST_F(Try, AKeyThatNoDatabaseHoldsIsSaidWithTheNearest)
{
    const ProcessResult result = tried({"/gian", "1"});
    expectResult(result, 1, "",
                 "varnix: no database holds /gian; the nearest: /gain /both /fixed\n");
}

TEST_F(Try, TheFirstWordEndsTheOptions)
{
    const ProcessResult result = varnix({"try", config, "db", "--json", "/gain", "7"});
    expectResult(result, 0, config + "\t1 2 3 -> 7 2 3\n", "");
    EXPECT_EQ(varnix({"try", config, "db", "--json"}).out, ""); // wrong usage, and no document
    EXPECT_EQ(varnix({"try", config, "db", "--json", "/gian", "7"}).out, "");
    EXPECT_NE(varnix({"try", "--json", config, "db"}).out, "");
}

TEST_F(Try, TooFewWordsAreWrongUsage)
{
    expectResult(tried({"/gain"}), 2, "",
                 "varnix: a write has at least 4 words, as in: db write KEY VALUE\n");
    EXPECT_EQ(varnix({"try"}).status, 2);
}

TEST_F(Try, ANodeThatCannotBeUsedSaysWhy)
{
    expectResult(varnix({"try", "absent.cfg", "db", "write", "/gain", "1"}), 5, "",
                 "varnix: no configuration: cannot open absent.cfg: No such file or directory\n");
}

TEST_F(Try, AsADocumentSaysTheSame)
{
    const Json document = Json::parse(tried({"/both", "256"}, {"--json"}).out);
    const Json refused{{"config", nullptr},
                       {"result", "refused"},
                       {"before", {{"type", "U8"}, {"value", {1}}}},
                       {"message", "Can not store the value 256 in a key with datatype: U8"}};
    const Json taken{{"config", config},
                     {"result", "taken"},
                     {"before", {{"type", "U16"}, {"value", {2}}}},
                     {"after", {{"type", "U16"}, {"value", {256}}}}};
    EXPECT_EQ(document, Json({{"config", config},
                              {"key", "/both"},
                              {"databases", {refused, taken}},
                              {"errors", Json::array()}}));
}

} // namespace

} // namespace Varnix::Test
