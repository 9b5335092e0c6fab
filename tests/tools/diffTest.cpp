#include "tests/tools/toolTest.h"

#include <nlohmann/json.hpp>

namespace Varnix::Test {
namespace {

class Diff : public ToolTest
{
};

TEST_F(Diff, OfTheSameParametersIsNothing)
{
    DbBuilder().u8("/a", {1}).u8("/b", {2}).write(m_directory / "one");
    DbBuilder().u8("/b", {2}).reserved("abcd").u8("/a", {1}).write(m_directory / "two");
    expectResult(varnix({"diff", "one", "two"}), 0, "", "");
}

TEST_F(Diff, ShowsBothSidesInTheOrderOfTheKeys)
{
    DbBuilder().u8("/b", {1, 2}).text("/a", "x").write(m_directory / "one");
    DbBuilder().u8("/b", {1, 3}).u8("/c d", {}).write(m_directory / "two");
    expectResult(varnix({"diff", "one", "two"}), 1,
                 "- /a CHAR \"x\"\n"
                 "- /b U8 1 2\n"
                 "+ /b U8 1 3\n"
                 "+ \"/c d\" U8\n",
                 "");
}

TEST_F(Diff, OfKeysThatNeitherFileGivesATypeIsNothing)
{
    DbBuilder().u8("/a", {}).write(m_directory / "one");
    DbBuilder().text("/a", "").write(m_directory / "two");
    expectResult(varnix({"diff", "one", "two"}), 0, "", "");
}

TEST_F(Diff, TellsAnEmptiedValueFromOneWithoutAType)
{
    DbBuilder().text("/a", "x").text("/a", "").write(m_directory / "one");
    DbBuilder().text("/a", "").write(m_directory / "two");
    expectResult(varnix({"diff", "one", "two"}), 1, "- /a CHAR \"\"\n+ /a empty, without a type\n",
                 "");
}

TEST_F(Diff, AsADocumentHasBothSidesOfEveryDifference)
{
    DbBuilder().u8("/b", {1, 2}).text("/a", "x").write(m_directory / "one");
    DbBuilder().u8("/b", {1, 3}).text("/a", "x").u8("/c", {}).write(m_directory / "two");
    const ProcessResult result = varnix({"diff", "--json", "one", "two"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(nlohmann::json::parse(result.out), nlohmann::json::parse(R"({
        "a": "one", "b": "two", "errors": [],
        "differences": [
            {"key": "/b", "a": {"type": "U8", "value": [1, 2]},
             "b": {"type": "U8", "value": [1, 3]}},
            {"key": "/c", "a": null, "b": {"type": "U8", "value": []}}]})"));
}

TEST_F(Diff, SeesARecordThatReachesPastTheTail)
{
    write("one", imageThatOverlaps());
    DbBuilder().write(m_directory / "two");
    expectResult(varnix({"diff", "one", "two"}), 1, "- /b CHAR \"0123456789ABCD\"\n", "");
}

TEST_F(Diff, OfAnUnreadableFileIsNoDifference)
{
    DbBuilder().write(m_directory / "one");
    expectResult(varnix({"diff", "one", "two"}), 3, "",
                 "varnix: cannot open two: No such file or directory\n");
}

TEST_F(Diff, OfAnInvalidFileIsNoDifference)
{
    DbBuilder().write(m_directory / "one");
    write("two", "short");
    expectResult(varnix({"diff", "one", "two"}), 4, "",
                 "two:@0x5: error: the file ends inside its header: it holds 5 bytes, a header "
                 "takes 10\n");
}

} // namespace
} // namespace Varnix::Test
