#include "liveFixture.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <future>

#include <unistd.h>

namespace Varnix::Test {

namespace {

namespace fs = std::filesystem;
using testing::AnyOf;
using testing::HasSubstr;

/** Processes whose library or surroundings are not the command's own. */
class LiveProcess : public Live
{
protected:
    /** Starts a holder of the first database with another library, and returns its id. */
    std::string holdWith(const fs::path& library)
    {
        return start(
            {"/usr/bin/env", "LD_LIBRARY_PATH=" + library.parent_path().string(), HOLDER, first});
    }

    std::string start(const std::vector<std::string>& command)
    {
        holders.push_back(std::make_unique<Child>(command));
        EXPECT_EQ(holders.back()->out().line(), "ready");
        return std::to_string(holders.back()->id());
    }

    fs::path libraryCopy() const { return m_directory / "libvarnix.so.0"; }
};

TEST_F(LiveProcess, WithAStrippedLibraryIsLookedAt)
{
    ASSERT_EQ(run({"strip", "--strip-all", "-o", libraryCopy(), VARNIX_LIBRARY}).status, 0);
    const std::string pid = holdWith(libraryCopy());
    EXPECT_THAT(readFile("/proc/" + pid + "/maps"), HasSubstr(libraryCopy().string()));
    EXPECT_EQ(varnix({"get", "--pid", pid, "/gain"}).out, "1 2\n");
}

TEST_F(LiveProcess, OfAnotherReleaseSaysSo)
{
    std::string library = readFile(VARNIX_LIBRARY);
    const std::string owner("Varnix\0\0", 8);
    const std::size_t note = library.find(std::string("\7\0\0\0\x10\0\0\0\1\0\0\0", 12) + owner);
    ASSERT_NE(note, std::string::npos);
    library[note + 12 + owner.size()] = 9; // the layout's number
    std::ofstream(libraryCopy(), std::ios::binary) << library;

    const std::string pid = holdWith(libraryCopy());
    const ProcessResult result = varnix({"get", "--pid", pid, "/gain"});
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.err, HasSubstr("uses a release of the library with layout 9; this one "
                                      "knows layout 1"));
    EXPECT_THAT(varnix({"ps"}).err, HasSubstr("process " + pid + " uses a release"));
}

TEST_F(LiveProcess, InNamespacesOfItsOwnIsLookedAt)
{
    std::vector<std::string> command{"/usr/bin/unshare", "--mount", "--pid", "--fork",
                                     "--kill-child"};
    if (::geteuid() != 0)
        command.emplace_back("--map-root-user");
    std::vector<std::string> probe = command;
    probe.emplace_back("true");
    if (run(probe).status != 0) {
        std::puts("not permitted here: namespaces of its own");
        return;
    }
    // What the process sees at its database's path is not what there is here.
    command.insert(command.end(), {"/bin/sh", "-c",
                                   "exec 3<\"$1\"; mount --bind /dev/null \"$2\"; exec \"$0\" "
                                   "\"$1\"",
                                   HOLDER, first, (node / "second.db").string()});
    start(command);
    std::string pid;
    const std::string all = varnix({"ps"}).out;
    const std::size_t at = all.find("\t" + first + " ");
    ASSERT_NE(at, std::string::npos) << all;
    const std::size_t line = all.rfind('\n', at) == std::string::npos ? 0 : all.rfind('\n', at) + 1;
    pid = all.substr(line, all.find('\t', line) - line);
    EXPECT_EQ(varnix({"get", "--pid", pid, "/gain"}).out, "1 2\n");
}

TEST_F(LiveProcess, ThatDiesMeanwhileIsAnAnswer)
{
    constexpr int rounds = 10;
    for (int i = 0; i < rounds; ++i) {
        const std::string pid = hold({first});
        auto looking = std::async(std::launch::async, [&] {
            return varnix({"get", "--pid", pid, "/gain"});
        });
        ::usleep(static_cast<useconds_t>(i) * 2000); // the moments that differ are the test
        holders.back()->signal(SIGKILL);
        const ProcessResult result = looking.get();
        EXPECT_THAT(result.status, AnyOf(0, 5));
        if (result.status == 0)
            EXPECT_EQ(result.out, "1 2\n");
        else
            EXPECT_THAT(result.err, AnyOf(HasSubstr("has ended"), HasSubstr("there is no process"),
                                          HasSubstr("does not use the library")));
        EXPECT_EQ(holders.back()->wait(), 128 + SIGKILL);
    }
}

} // namespace

} // namespace Varnix::Test
