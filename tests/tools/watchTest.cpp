#include "servedFixture.h"

#include <csignal>

#include <nlohmann/json.hpp>

namespace Varnix::Test {

namespace {

using Json = nlohmann::json;

class Watch : public Served
{
protected:
    /** Starts a watch that has shown its values, and waits until it has subscribed. */
    std::unique_ptr<Child> watch(const std::vector<std::string>& arguments, std::size_t values)
    {
        std::vector<std::string> line{VARNIX_TOOL, "watch", "--every", "5"};
        line.insert(line.end(), arguments.begin(), arguments.end());
        auto child = std::make_unique<Child>(line);
        for (std::size_t i = 0; i < values; ++i)
            m_shown += child->out().line().value_or("end of output") + '\n';
        const std::string pid = std::to_string(child->id());
        EXPECT_TRUE(
            waitUntil([&] { return lineOf(pid).find("\tsubscribed\t") != std::string::npos; }));
        return child;
    }

    std::string m_shown;
};

TEST_F(Watch, ShowsTheValuesAndThenALineForEachChange)
{
    startServer();
    const auto child = watch({first, "/gain", "/label", "/board"}, 3);
    EXPECT_EQ(m_shown, "/gain\t1 2\n/label\ta label\n/board\t7\n");
    EXPECT_EQ(written({"/label", "-c", "new"}).status, 0);
    EXPECT_EQ(child->out().line(), "/label\tnew");
    EXPECT_EQ(written({"/board", "8"}).status, 0);
    EXPECT_EQ(child->out().line(), "/board\t8");
    EXPECT_EQ(written({"/board", "256"}).status, 1); // refused: no change
    EXPECT_EQ(written({"/gain", "1", "3"}).status, 0);
    EXPECT_EQ(child->out().line(), "/gain\t1 3");
}

TEST_F(Watch, EndsAfterTheChangesThatWereAskedFor)
{
    startServer();
    const auto child = watch({"--count", "2", first, "/gain"}, 1);
    EXPECT_EQ(written({"/gain", "5"}).status, 0);
    EXPECT_EQ(child->out().line(), "/gain\t5 2");
    written({"/gain", "6"}); // after which it may have ended before it is looked at
    EXPECT_EQ(child->out().line(), "/gain\t6 2");
    EXPECT_EQ(child->wait(), 0);
    EXPECT_EQ(child->out().rest(), "");
}

TEST_F(Watch, EndsAfterThatManyAlsoWhereMoreChangeAtOnce)
{
    startServer();
    const auto child = watch({"--count", "1", first, "/gain", "/gain"}, 2);
    written({"/gain", "5"}); // after which it may have ended before it is looked at
    EXPECT_EQ(child->wait(), 0);
    EXPECT_EQ(child->out().rest(), "/gain\t5 2\n");
}

TEST_F(Watch, EndsByASignalAsDone)
{
    startServer();
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const auto child = watch({first, "/gain"}, 1);
        child->signal(signal);
        EXPECT_EQ(child->wait(), 0) << signal;
        EXPECT_EQ(child->err().rest(), "");
    }
}

TEST_F(Watch, ASignalThatIsIgnoredOnEntryDoesNotEndIt)
{
    startServer();
    const std::string script = "trap '' HUP; exec '" VARNIX_TOOL "' watch --every 5 ";
    Child child({"/bin/sh", "-c", script + first + " /gain"});
    EXPECT_EQ(child.out().line(), "/gain\t1 2");
    const std::string pid = std::to_string(child.id());
    EXPECT_TRUE(waitUntil([&] { return lineOf(pid).find("\tsubscribed\t") != std::string::npos; }));
    child.signal(SIGHUP);
    EXPECT_EQ(written({"/gain", "5"}).status, 0);
    EXPECT_EQ(child.out().line(), "/gain\t5 2");
    child.signal(SIGTERM);
    EXPECT_EQ(child.wait(), 0);
}

TEST_F(Watch, AsDocumentsIsOneALine)
{
    startServer();
    const auto child = watch({"--json", first, "/gain", "/label"}, 2);
    EXPECT_EQ(m_shown, "{\"key\":\"/gain\",\"type\":\"U16\",\"value\":[1,2]}\n"
                       "{\"key\":\"/label\",\"type\":\"CHAR\",\"value\":\"a label\"}\n");
    EXPECT_EQ(written({"/gain", "5"}).status, 0);
    EXPECT_EQ(child->out().line(), "{\"key\":\"/gain\",\"type\":\"U16\",\"value\":[5,2]}");
}

TEST_F(Watch, InADocumentTextIsAsItIs)
{
    startServer();
    first = configuration("text", DbBuilder().text("/label", "\xC3\xBC"));
    watch({"--json", first, "/label"}, 1);
    EXPECT_EQ(m_shown, "{\"key\":\"/label\",\"type\":\"CHAR\",\"value\":\"\xC3\xBC\"}\n");
}

TEST_F(Watch, AKeyThatIsAbsentIsNotWaitedFor)
{
    const ProcessResult result = varnix({"watch", first, "/gain", "/gian"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "varnix: /gian: there is no such key; see varnix explain " + first + " /gian\n");
    const Json document = Json::parse(varnix({"watch", "--json", first, "/gian"}).out);
    const std::string message = result.err.substr(0, result.err.size() - 1);
    EXPECT_EQ(document, Json({{"errors", {{{"message", message}, {"status", 1}}}}}));
}

TEST_F(Watch, AsDocumentsAFailureIsALineToo)
{
    for (const std::string& config : {first, std::string("absent.cfg")}) {
        const std::string out = varnix({"watch", "--json", config, "/gian"}).out;
        EXPECT_EQ(out.find('\n'), out.size() - 1) << out;
        EXPECT_EQ(Json::parse(out).at("errors").size(), 1U);
    }
}

TEST_F(Watch, ANodeThatCannotBeUsedSaysWhy)
{
    expectResult(varnix({"watch", "absent.cfg", "/gain"}), 5, "",
                 "varnix: no configuration: cannot open absent.cfg: No such file or directory\n");
}

TEST_F(Watch, WrongUsageIsSaid)
{
    EXPECT_EQ(varnix({"watch", first}).status, 2);
    EXPECT_EQ(varnix({"watch", "--every", "0", first, "/gain"}).status, 2);
    EXPECT_EQ(varnix({"watch", "--count", "0", first, "/gain"}).status, 2);
}

TEST_F(Watch, ThatCannotWriteEnds)
{
    const ProcessResult result =
        run({"/bin/sh", "-c", R"("$@" >/dev/full)", "sh", VARNIX_TOOL, "watch", first, "/gain"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "varnix: cannot write to standard output\n");
}

} // namespace

} // namespace Varnix::Test
