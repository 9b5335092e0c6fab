#include "tests/tools/toolTest.h"

namespace Varnix::Test {
namespace {

struct Misspelling
{
    const char* name;
    /** A configuration file whose wrong word is in its second line. */
    const char* config;
    /** Nothing: there is no note. */
    const char* note;
};

class ConfigHint : public ToolTest, public testing::WithParamInterface<Misspelling>
{
};

TEST_P(ConfigHint, NamesTheWordAndTheRightOne)
{
    write("node.cfg", GetParam().config);
    const ProcessResult result = varnix({"explain", "--identity", "a_1", "node.cfg"});
    EXPECT_EQ(result.status, 4);
    const std::string note = GetParam().note;
    if (note.empty())
        EXPECT_THAT(result.err, testing::Not(testing::HasSubstr("note")));
    else
        EXPECT_THAT(result.err, testing::EndsWith("\nnode.cfg:2: note: " + note + '\n'));
}

INSTANTIATE_TEST_SUITE_P(
    Of, ConfigHint,
    testing::Values(
        Misspelling{"Section", "# node\nvarnx: { component_versions = (); };\n",
                    "there is no setting \"varnx\"; did you mean \"varnix\"?"},
        Misspelling{"List", "varnix: {\ncomponent_version = (); };\n",
                    "there is no setting \"component_version\"; did you mean "
                    "\"component_versions\"?"},
        Misspelling{"ComponentId",
                    "varnix: { component_versions = ( {\ncomponentId = \"a\"; } ); };",
                    "there is no setting \"componentId\"; did you mean \"component_id\"?"},
        Misspelling{"Revision",
                    "varnix: { component_versions = ( { component_id = \"a\";\nrevison = \"1\"; "
                    "file_paths = []; } ); };",
                    "there is no setting \"revison\"; did you mean \"revision\"?"},
        Misspelling{"FilePaths",
                    "varnix: { component_versions = ( { component_id = \"a\"; revision = \"1\";\n"
                    "file_path = []; } ); };",
                    "there is no setting \"file_path\"; did you mean \"file_paths\"?"},
        Misspelling{
            "Number",
            "varnix: { component_versions = ( { component_id = \"a\";\nrevision = 1; } ); };",
            "revision is no text; write its value between double quotes"},
        Misspelling{
            "NothingAlike",
            "varnix: { component_versions = ( { component_id = \"a\";\nowner = \"b\"; } ); };", ""},
        Misspelling{"NoGroup", "varnix: { component_versions = (\n1 ); };", ""},
        Misspelling{"ListInTheList", "varnix: { component_versions = (\n( \"revison\" ) ); };",
                    ""}),
    [](const auto& tested) { return tested.param.name; });

class ConfigHintPlace : public ToolTest
{
};

TEST_F(ConfigHintPlace, AMisspeltSettingOfAnIncludedFileIsNamedThere)
{
    write("entry.cfg", "{ component_id = \"a\";\n  revison = \"1\"; }\n");
    write("node.cfg", "varnix: { component_versions = (\n@include \"entry.cfg\"\n); };\n");
    EXPECT_THAT(varnix({"explain", "--identity", "a_1", "node.cfg"}).err,
                testing::HasSubstr("\nentry.cfg:2: note: there is no setting \"revison\""));
}

} // namespace
} // namespace Varnix::Test
