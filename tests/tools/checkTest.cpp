#include "tests/tools/toolTest.h"

#include <nlohmann/json.hpp>

namespace Varnix::Test {
namespace {

class Check : public ToolTest
{
};

TEST_F(Check, OfAGoodFileSaysNothing)
{
    write("a", "/unit/gain U16 1\n/unit/label CHAR \"x\"\n");
    EXPECT_EQ(varnix({"build", "-o", "db", "a"}).status, 0);
    expectResult(varnix({"check", "db"}), 0, "", "");
}

TEST_F(Check, NamesAllFindingsOfAllFiles)
{
    DbBuilder().u8("ab", {1}).extra("x").write(m_directory / "one");
    DbBuilder().record({.key = "/a", .type = 9}).write(m_directory / "two");
    expectResult(varnix({"check", "one", "two"}), 1,
                 "one:@0xb: error: the key \"ab\" does not begin with \"/\"\n"
                 "one:@0x21: error: 1 bytes follow the checksum\n"
                 "two:@0xe: error: type 9 has no name\n",
                 "");
}

TEST_F(Check, OfAFileOfAnotherKindIsAFinding)
{
    write("db", "");
    expectResult(varnix({"check", "db"}), 1,
                 "db:@0x0: error: the file ends inside its header: it holds 0 bytes, a header "
                 "takes 10\n",
                 "");
}

TEST_F(Check, WarnsOfAKeyWithoutAByteAndStillFindsNothing)
{
    DbBuilder().u8("/unit/empty", {}).write(m_directory / "db");
    expectResult(
        varnix({"check", "db"}), 0, "",
        "db:@0xb: warning: the key \"/unit/empty\" has no value: unless another file gives "
        "it one, every read is a type mismatch\n");
}

TEST_F(Check, NotesWhatDoesNoHarm)
{
    DbBuilder().unchecked("ab").write(m_directory / "db");
    expectResult(varnix({"check", "db"}), 0, "",
                 "db:@0x14: note: the bytes before the checksum are not zero: 61 62\n");
}

TEST_F(Check, GoesOnBehindAFileThatCannotBeRead)
{
    DbBuilder().u8("ab", {1}).write(m_directory / "db");
    expectResult(varnix({"check", "absent", "db"}), 3,
                 "db:@0xb: error: the key \"ab\" does not begin with \"/\"\n",
                 "varnix: cannot open absent: No such file or directory\n");
}

TEST_F(Check, AsADocumentHoldsEveryFindingAndEveryFailure)
{
    DbBuilder().u8("ab", {1}).unchecked("ab").write(m_directory / "db");
    write("s", "/a U8 0..9 default 10\n");
    const ProcessResult result = varnix({"check", "--json", "--schema", "s", "absent", "db"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "varnix: cannot open absent: No such file or directory\n");
    EXPECT_EQ(nlohmann::json::parse(result.out), nlohmann::json::parse(R"x({
        "findings": [
            {"severity": "error", "file": "s", "line": 1, "column": 20, "check": "default",
             "message": "the default: 10 is above 9 (s:1)"},
            {"severity": "error", "file": "db", "offset": 11,
             "message": "the key \"ab\" does not begin with \"/\""},
            {"severity": "note", "file": "db", "offset": 29,
             "message": "the bytes before the checksum are not zero: 61 62"}],
        "errors": [
            {"message": "varnix: cannot open absent: No such file or directory",
             "status": 3}]})x"));
}

TEST_F(Check, OfAGoodFileAsADocumentIsEmpty)
{
    DbBuilder().u8("/a", {1}).write(m_directory / "db");
    const ProcessResult result = varnix({"check", "--json", "db"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(nlohmann::json::parse(result.out),
              nlohmann::json::parse(R"({"findings": [], "errors": []})"));
}

TEST_F(Check, AsAHookKeepsABadFileOutOfACommit)
{
    const auto git = [this](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"git", "-c", "user.name=a", "-c", "user.email=a@b"});
        return run(arguments, {.directory = m_directory.path()});
    };
    ASSERT_EQ(git({"init", "-q"}).status, 0);
    write(".git/hooks/pre-commit",
          "#!/bin/sh\ngit diff --cached --name-only -z --diff-filter=d -- '*.db' |\n"
          "    xargs -0 -r " VARNIX_TOOL " check\n");
    std::filesystem::permissions(m_directory / ".git/hooks/pre-commit",
                                 std::filesystem::perms::owner_all);

    DbBuilder().u8("/a", {1}).write(m_directory / "good.db");
    ASSERT_EQ(git({"add", "good.db"}).status, 0);
    EXPECT_EQ(git({"commit", "-qm", "Good"}).status, 0);

    DbBuilder().u8("a", {1}).write(m_directory / "bad.db");
    ASSERT_EQ(git({"add", "bad.db"}).status, 0);
    const ProcessResult refused = git({"commit", "-qm", "Bad"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.out + refused.err, testing::HasSubstr("bad.db:@0xb: error: "));
}

} // namespace
} // namespace Varnix::Test
