#include "dbUtils.h"
#include "tests/support/scriptedRead.h"
#include "tests/support/temporaryDirectory.h"
#include "tests/support/traceSession.h"
#include "tests/support/traceSite.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace Varnix::Backend {
namespace {

using DBUtils::ConfigError;
using DBUtils::DbConfiguration;
using DBUtils::tokenize;
using Test::ReadOutcome;
using Test::reportedAt;
using Test::ScriptedRead;
using Test::TemporaryDirectory;
using Test::TraceRecord;
using Test::TraceSession;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;

auto entry(const std::string& componentId, const std::string& revision,
           const std::vector<std::string>& filePaths)
{
    return AllOf(Field("componentId", &DbConfiguration::componentId, componentId),
                 Field("revision", &DbConfiguration::revision, revision),
                 Field("filePaths", &DbConfiguration::filePaths, filePaths));
}

class ConfigFile : public testing::Test
{
protected:
    bool parse(const std::string& content)
    {
        std::ofstream(path) << content;
        return DBUtils::parseDbConfigFile(path, entries);
    }

    /** Writes a file with the given list of entries. */
    void writeList(const std::string& list) const
    {
        std::ofstream(path) << "varnix = { component_versions = " + list + "; };";
    }

    bool parseList(const std::string& list)
    {
        writeList(list);
        return DBUtils::parseDbConfigFile(path, entries);
    }

    /** Parses the file while its reads go like these, all of which it must ask for. */
    bool parseDuring(std::initializer_list<ReadOutcome> reads)
    {
        const ScriptedRead script(reads);
        const bool parsed = DBUtils::parseDbConfigFile(path, entries);
        EXPECT_EQ(script.left(), 0U);
        return parsed;
    }

    /** Parses a list that must be refused with this message, once. */
    void refuseList(const std::string& list, const std::string& message)
    {
        TraceSession::ofThisProcess().take();
        EXPECT_FALSE(parseList(list));
        EXPECT_THAT(TraceSession::ofThisProcess().take(), ElementsAre(error(message)));
    }

    /** The message about an element, which ends as all of them do. */
    std::string about(const std::string& element) const
    {
        return element + " in varnix.component_versions list in configuration file: " + path;
    }

    static testing::Matcher<const TraceRecord&> error(const std::string& message)
    {
        return reportedAt("ERROR", "dbUtils.cpp", "describe(*error, configFile)", message);
    }

    testing::Matcher<const TraceRecord&> unreadable() const
    {
        return error("Error when attempting to read file: " + path +
                     " Error on line 0: file I/O error");
    }

    TemporaryDirectory directory;
    std::string path = directory / "node.cfg";
    std::vector<DbConfiguration> entries;
};

const std::string good = R"({ component_id = "a"; revision = "R1"; file_paths = [ "/f" ]; })";

TEST_F(ConfigFile, GivesEveryEntryInOrderAndReportsNothing)
{
    TraceSession::ofThisProcess().take();
    EXPECT_TRUE(parse(R"(
# a comment
varnix =
{
  component_versions =
  (
    {
      component_id = "component-a";
      revision = "R1";
      file_paths = [ "/flash/db/common.db", "/flash/db/component_a.db" ];
    },
    {
      component_id = " component-b* ";
      revision = "";
      file_paths = ( "/flash/db/common.db" );
    }
  );
};
)"));
    EXPECT_THAT(entries, ElementsAre(entry("component-a", "R1",
                                           {"/flash/db/common.db", "/flash/db/component_a.db"}),
                                     entry(" component-b* ", "", {"/flash/db/common.db"})));
    EXPECT_THAT(TraceSession::ofThisProcess().take(), IsEmpty());
}

TEST_F(ConfigFile, MayListNothing)
{
    EXPECT_TRUE(parseList("()"));
    EXPECT_TRUE(parseList("[]"));
    EXPECT_TRUE(parseList("{}"));
    EXPECT_THAT(entries, IsEmpty());
}

TEST_F(ConfigFile, WithAScalarListHasNoEntries)
{
    EXPECT_TRUE(parseList("7"));
    EXPECT_TRUE(parseList("\"text\""));
    EXPECT_THAT(entries, IsEmpty());
}

TEST_F(ConfigFile, MayListNoPathsOrAScalarInsteadOfThem)
{
    EXPECT_TRUE(parseList(R"((
        { component_id = "a"; revision = "1"; file_paths = []; },
        { component_id = "b"; revision = "2"; file_paths = ""; },
        { component_id = "c"; revision = "3"; file_paths = "/path"; }))"));
    EXPECT_THAT(entries,
                ElementsAre(entry("a", "1", {}), entry("b", "2", {}), entry("c", "3", {})));
}

TEST_F(ConfigFile, MayHoldOtherSettings)
{
    EXPECT_TRUE(parse(R"(
        other = 1;
        varnix = { version = 2.0;
                   component_versions = ( { file_paths = [ "/f" ]; note = [ 1, 2 ];
                                            revision = "R1"; component_id = "a"; } ); };)"));
    EXPECT_THAT(entries, ElementsAre(entry("a", "R1", {"/f"})));
}

TEST_F(ConfigFile, IsAppendedToWhatTheCallerHas)
{
    entries = {{"old", "R0", {"/old"}}};
    EXPECT_TRUE(parseList("(" + good + ")"));
    EXPECT_THAT(entries, ElementsAre(entry("old", "R0", {"/old"}), entry("a", "R1", {"/f"})));
    EXPECT_FALSE(parseList("( 1 )"));
    EXPECT_THAT(entries, SizeIs(2));
}

TEST_F(ConfigFile, ThatIsMissingIsReported)
{
    TraceSession::ofThisProcess().take();
    EXPECT_FALSE(DBUtils::parseDbConfigFile(path, entries));
    EXPECT_THAT(TraceSession::ofThisProcess().take(), ElementsAre(unreadable()));
}

TEST_F(ConfigFile, ThatIsADirectoryIsReported)
{
    std::filesystem::create_directory(path);
    TraceSession::ofThisProcess().take();
    EXPECT_FALSE(DBUtils::parseDbConfigFile(path, entries));
    EXPECT_THAT(TraceSession::ofThisProcess().take(), ElementsAre(unreadable()));
}

TEST_F(ConfigFile, ThatIsAPipeIsReportedAndNotWaitedFor)
{
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    TraceSession::ofThisProcess().take();
    EXPECT_FALSE(DBUtils::parseDbConfigFile(path, entries));
    EXPECT_THAT(TraceSession::ofThisProcess().take(), ElementsAre(unreadable()));
}

TEST_F(ConfigFile, MayBeNestedAHundredDeep)
{
    EXPECT_TRUE(parse("a = " + std::string(99, '(') + std::string(99, ')') +
                      "; varnix = { component_versions = (); };"));
    EXPECT_FALSE(parse("\na = " + std::string(100, '(') + std::string(100, ')')));
    const auto error = DBUtils::readConfigFile(path, entries);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->reason, "settings nested too deep");
    EXPECT_EQ(error->line, 2);
}

TEST_F(ConfigFile, WithMoreSettingsInAGroupThanAreComparedInASecondIsReported)
{
    std::string settings;
    for (int i = 0; i < 100000; ++i)
        settings += "a" + std::to_string(i) + "=1\n";
    EXPECT_FALSE(parse(settings));
    const auto error = DBUtils::readConfigFile(path, entries);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->reason, "too many settings in one group");
}

TEST_F(ConfigFile, WhoseReadFailsIsReported)
{
    writeList("(" + good + ")");
    TraceSession::ofThisProcess().take();
    EXPECT_FALSE(parseDuring({ReadOutcome::failing(EIO)}));
    EXPECT_FALSE(parseDuring({ReadOutcome::atMost(9), ReadOutcome::failing(EIO)}));
    EXPECT_THAT(TraceSession::ofThisProcess().take(), ElementsAre(unreadable(), unreadable()));
}

TEST_F(ConfigFile, WhoseReadIsInterruptedIsReadOn)
{
    writeList("(" + good + ")");
    EXPECT_TRUE(parseDuring(
        {ReadOutcome::failing(EINTR), ReadOutcome::atMost(9), ReadOutcome::failing(EINTR)}));
    EXPECT_THAT(entries, ElementsAre(entry("a", "R1", {"/f"})));
}

TEST_F(ConfigFile, IsNotOpenInProgramsStartedMeanwhile)
{
    writeList("(" + good + ")");
    const ScriptedRead script{};
    EXPECT_TRUE(DBUtils::parseDbConfigFile(path, entries));
    EXPECT_FALSE(script.leaked());
}

TEST_F(ConfigFile, WithASyntaxErrorIsReportedWithItsLine)
{
    TraceSession::ofThisProcess().take();
    EXPECT_FALSE(parse("varnix = {\n  component_versions = (\n    %;\n"));
    EXPECT_THAT(TraceSession::ofThisProcess().take(),
                ElementsAre(error("Error when attempting to read file: " + path +
                                  " Error on line 3: syntax error")));
}

TEST_F(ConfigFile, WithoutTheListIsReported)
{
    for (const char* const content :
         {"", "varnix = {};", "component_versions = ();", "varnix = 1;",
          "varnix = { component_version = (); };", "Varnix = { component_versions = (); };"}) {
        TraceSession::ofThisProcess().take();
        EXPECT_FALSE(parse(content)) << content;
        EXPECT_THAT(TraceSession::ofThisProcess().take(),
                    ElementsAre(error("Failed to find varnix.component_versions in configuration "
                                      "file: " +
                                      path)));
    }
}

TEST_F(ConfigFile, WithoutAComponentIdIsReported)
{
    const std::string message = about("Failed to get non-null component_id for element number 0");
    refuseList(R"(( { revision = "R1"; file_paths = []; } ))", message);
    refuseList(R"(( { component_id = 7; revision = "R1"; file_paths = []; } ))", message);
    refuseList(R"(( { component_id = [ "a" ]; revision = "R1"; file_paths = []; } ))", message);
    refuseList(R"(( "no group" ))", message);
    EXPECT_THAT(entries, IsEmpty());
}

TEST_F(ConfigFile, WithoutARevisionIsReportedAndKeepsTheEntriesBefore)
{
    const std::string noRevision = R"({ component_id = "b"; file_paths = []; })";
    refuseList("(" + good + "," + noRevision + "," + good + ")",
               about("Failed to get non-null revision for element number 1"));
    EXPECT_THAT(entries, ElementsAre(entry("a", "R1", {"/f"})));
    refuseList("(" + good + "," + good + "," + good + "," +
                   R"({ component_id = "b"; revision = 1; file_paths = []; }))",
               about("Failed to get non-null revision for element number 3"));
    EXPECT_THAT(entries, SizeIs(4));
}

TEST_F(ConfigFile, WithoutFilePathsIsReported)
{
    refuseList("(" + good + R"(, { component_id = "b"; revision = "R1"; } ))",
               about("Failed to get file_paths for element number 1"));
    EXPECT_THAT(entries, SizeIs(1));
}

TEST_F(ConfigFile, WithAPathThatIsNoStringIsReported)
{
    refuseList("(" + good +
                   R"(, { component_id = "b"; revision = "R1"; file_paths = ( "/f", 7 ); } ))",
               about("Failed to get non-null element number 1 in file_paths for element number 1"));
    refuseList(R"(( { component_id = "b"; revision = "R1"; file_paths = [ 7 ]; } ))",
               about("Failed to get non-null element number 0 in file_paths for element number 0"));
    EXPECT_THAT(entries, ElementsAre(entry("a", "R1", {"/f"})));
}

TEST_F(ConfigFile, IsCheckedInTheOrderOfTheMembers)
{
    refuseList("( {} )", about("Failed to get non-null component_id for element number 0"));
    refuseList(R"(( { component_id = "a"; } ))",
               about("Failed to get non-null revision for element number 0"));
}

TEST_F(ConfigFile, MissingAnElementWouldBeReportedLikeTheOthers)
{
    EXPECT_EQ(describe(ConfigError{ConfigError::Kind::NO_ELEMENT, 3}, path),
              about("Failed to get element number 3"));
}

TEST_F(ConfigFile, SaysWhereEachEntryBegins)
{
    writeList("(\n" + good + ",\n\n" + good + ")");
    std::vector<int> lines;
    EXPECT_FALSE(DBUtils::readConfigFile(path, entries, &lines));
    EXPECT_THAT(entries, SizeIs(2));
    EXPECT_THAT(lines, ElementsAre(2, 4));
}

TEST_F(ConfigFile, SaysWhereItsErrorIs)
{
    writeList("(\n" + good +
              ",\n{ component_id = \"b\"; revision = \"R1\"; file_paths = (\"/f\", 7); })");
    const auto error = DBUtils::readConfigFile(path, entries);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind, ConfigError::Kind::BAD_FILE_PATH);
    EXPECT_EQ(error->line, 3);
    EXPECT_EQ(error->element, 1);
    EXPECT_EQ(error->path, 1);
}

TEST_F(ConfigFile, ErrorsHaveNoPlaceWithoutAnEntry)
{
    std::ofstream(path) << "other = 1;";
    const auto error = DBUtils::readConfigFile(path, entries);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->line, 0);
    EXPECT_EQ(error->element, 0);
    EXPECT_EQ(error->path, 0);
}

TEST_F(ConfigFile, IsReadTheSameWithoutASessionThatRecords)
{
    EXPECT_FALSE(DBUtils::parseDbConfigFile(path, entries));
    EXPECT_FALSE(parseList("(" + good + ", {})"));
    EXPECT_THAT(entries, SizeIs(1));
}

struct Split
{
    std::string text;
    std::string delimiters;
    std::vector<std::string> pieces;
};

TEST(Tokenize, GivesTheNonEmptyPiecesInOrder)
{
    const Split splits[] = {
        {"", " ", {}},
        {"   ", " ", {}},
        {"one", " ", {"one"}},
        {"  first   second  ", " ", {"first", "second"}},
        {"a, b,,c", " ,", {"a", "b", "c"}},
        {",a", ",", {"a"}},
        {"a,", ",", {"a"}},
        {"a b", "", {"a b"}},
        {"", "", {}},
        {"a\tb c", " ", {"a\tb", "c"}},
        {std::string("a\0b", 3), std::string("\0", 1), {"a", "b"}},
    };
    for (const auto& [text, delimiters, pieces] : splits)
        EXPECT_EQ(tokenize(text, delimiters), pieces) << '"' << text << '"';
}

} // namespace
} // namespace Varnix::Backend
