#include "configFileTest.h"

namespace Varnix::Backend {
namespace {

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
    std::vector<DBUtils::ConfigText::Place> places;
    EXPECT_FALSE(DBUtils::readConfigFile(path, entries, &places));
    EXPECT_THAT(entries, SizeIs(2));
    ASSERT_THAT(places, SizeIs(2));
    EXPECT_EQ(places[0].line, 2);
    EXPECT_EQ(places[1].line, 4);
    EXPECT_EQ(places[0].file, path);
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

} // namespace
} // namespace Varnix::Backend
