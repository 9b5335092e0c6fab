#include "configFileTest.h"

#include <sys/stat.h>

namespace Varnix::Backend {
namespace {

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
    EXPECT_FALSE(parseDuring({CallEffect::failing(EIO)}));
    EXPECT_FALSE(parseDuring({CallEffect::atMost(9), CallEffect::failing(EIO)}));
    EXPECT_THAT(TraceSession::ofThisProcess().take(), ElementsAre(unreadable(), unreadable()));
}

TEST_F(ConfigFile, WhoseReadIsInterruptedIsReadOn)
{
    writeList("(" + good + ")");
    EXPECT_TRUE(parseDuring(
        {CallEffect::failing(EINTR), CallEffect::atMost(9), CallEffect::failing(EINTR)}));
    EXPECT_THAT(entries, ElementsAre(entry("a", "R1", {"/f"})));
}

TEST_F(ConfigFile, IsNotOpenInProgramsStartedMeanwhile)
{
    writeList("(" + good + ")");
    const ScriptedRead script{};
    EXPECT_TRUE(DBUtils::parseDbConfigFile(path, entries));
    EXPECT_FALSE(script.leaked());
}

TEST_F(ConfigFile, IsReadTheSameWithoutASessionThatRecords)
{
    EXPECT_FALSE(DBUtils::parseDbConfigFile(path, entries));
    EXPECT_FALSE(parseList("(" + good + ", {})"));
    EXPECT_THAT(entries, SizeIs(1));
}

} // namespace
} // namespace Varnix::Backend
