#include "liveFixture.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <future>
#include <optional>

#include <nlohmann/json.hpp>
#include <unistd.h>

namespace Varnix::Test {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

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

    /** What runs a command with mounts and process ids of its own; empty where it may not. */
    static std::vector<std::string> inNamespaces(const std::vector<std::string>& options = {})
    {
        std::vector<std::string> command{"/usr/bin/unshare", "--mount", "--pid", "--fork",
                                         "--kill-child"};
        if (::geteuid() != 0)
            command.emplace_back("--map-root-user");
        command.insert(command.end(), options.begin(), options.end());
        std::vector<std::string> probe = command;
        probe.emplace_back("true");
        if (run(probe).status == 0)
            return command;
        std::puts("not permitted here: namespaces of its own");
        return {};
    }

    /**
     * Starts a holder of a configuration after commands of the shell's that mount, and returns its
     * id; nothing where that is not permitted.
     */
    std::optional<std::string> holdAfter(const std::string& mounts, const std::string& config)
    {
        std::vector<std::string> command = inNamespaces();
        if (command.empty())
            return std::nullopt;
        command.insert(command.end(), {"/bin/sh", "-ec", mounts + "\nexec " HOLDER " " + config});
        start(command);
        const std::string all = varnix({"ps"}).out;
        const std::size_t at = all.find("\t" + config + " ");
        EXPECT_NE(at, std::string::npos) << all;
        const std::size_t before = all.rfind('\n', at);
        const std::size_t line = before == std::string::npos ? 0 : before + 1;
        return all.substr(line, all.find('\t', line) - line);
    }

    /** Makes a directory that the process shall see in the place of the node's. */
    void makeInner() const
    {
        fs::create_directory(inner);
        DbBuilder()
            .text("/componentConfigId", "other_R2")
            .u8("/board", {9})
            .write(inner / "production.db");
        DbBuilder().u16("/gain", {7}).write(inner / "first.db");
        DbBuilder().u8("/fan", {8}).write(inner / "near.db");
        DbBuilder().u8("/fan", {9}).write(inner / "spare.db");
        writeFile(inner / "first.cfg",
                  configText({{"other", "R2", {node / "first.db", "near.db"}}}));
    }

    std::string mountInner() const
    {
        return "mount --bind " + inner.string() + ' ' + (node / "").string() + "\ncd " +
               (node / "").string();
    }

    const fs::path inner = m_directory / "inner";
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
    const std::string message = "varnix: process " + pid +
                                " uses a release of the library with layout 9; this one knows "
                                "layout 1";
    expectResult(varnix({"get", "--pid", pid, "/gain"}), 5, "", message + "\n");
    EXPECT_THAT(varnix({"ps"}).err, HasSubstr(message + "\n"));
    const Json document = Json::parse(varnix({"ps", "--json"}).out);
    EXPECT_THAT(document.at("errors"), Contains(Json{{"message", message}, {"status", 5}}));
}

TEST_F(LiveProcess, InNamespacesOfItsOwnIsLookedAt)
{
    // What the process sees at its database's path is not what there is here.
    const auto pid = holdAfter(
        "exec 3<" + first + "\nmount --bind /dev/null " + (node / "second.db").string(), first);
    if (!pid)
        return;
    EXPECT_EQ(varnix({"get", "--pid", *pid, "/gain"}).out, "1 2\n");
}

TEST_F(LiveProcess, InNamespacesOfItsOwnIsExplained)
{
    const auto pid = holdAfter("mount --bind " + (node / "second.db").string() + ' ' +
                                   (node / "first.db").string(),
                               first);
    if (!pid)
        return;
    const ProcessResult result = varnix({"explain", "--pid", *pid, "/gain"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out,
                HasSubstr("=> a client gets U16 3 from " + (node / "first.db").string() +
                          "\n  process " + *pid + " holds U16 3\n"));
    EXPECT_THAT(result.out, Not(HasSubstr("Findings")));
}

TEST_F(LiveProcess, WithARootOfItsOwnIsExplained)
{
    std::vector<std::string> command = inNamespaces({"--mount-proc"});
    if (command.empty())
        return;
    // All directories once more, with another first.db; the command is in the same namespaces.
    const std::string script = R"(
        mkdir root
        mount -t tmpfs none root
        for entry in /*; do
            if [ -h "$entry" ]; then
                cp -P "$entry" root
            elif [ -d "$entry" ]; then
                mkdir "root$entry"
                mount --rbind "$entry" "root$entry"
            fi
        done
        mount --bind "$NODE/second.db" "root$NODE/first.db"
        mkfifo input ready
        exec 3<>input
        /usr/sbin/chroot root "$HOLDER" "$NODE/first.cfg" <&3 >ready &
        read -r line <ready
        exec "$TOOL" explain --pid $! /gain)";
    command.insert(command.end(), {"/bin/sh", "-ec", script});
    const ProcessResult result =
        run(command, {.directory = m_directory.path(),
                      .environment = {"TOOL=" VARNIX_TOOL, "HOLDER=" HOLDER,
                                      "NODE=" + (node / "").parent_path().string()}});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, ContainsRegex("\n  => a client gets U16 3 from [^\n]*/first.db\n"
                                          "  process [0-9]+ holds U16 3\n"));
}

TEST_F(LiveProcess, WithFilesOfItsOwnAloneIsExplained)
{
    makeInner();
    const auto pid = holdAfter(mountInner(), first);
    if (!pid)
        return;
    const ProcessResult all = varnix({"explain", "--all", "--pid", *pid});
    EXPECT_EQ(all.status, 0);
    EXPECT_THAT(all.out, AllOf(HasSubstr("\nIdentities: other_R2\n"), HasSubstr("holds U8 9\n"),
                               HasSubstr("holds U16 7\n"), HasSubstr("holds U8 8\n")));
    EXPECT_THAT(all.out,
                EndsWith("\nFindings:\nspare.db: note: no entry lists this database file\n"));

    DbBuilder().u16("/gain", {8}).write(inner / "first.db");
    const ProcessResult changed = varnix({"explain", "--pid", *pid});
    EXPECT_EQ(changed.status, 1);
    EXPECT_THAT(changed.out,
                HasSubstr("=> a client gets U16 8 from " + (node / "first.db").string()));
}

TEST_F(LiveProcess, InNamespacesOfItsOwnIsNamedWhereItHoldsAnOldValue)
{
    makeInner();
    const auto pid = holdAfter(mountInner(), first);
    DbBuilder().u16("/gain", {8}).write(m_directory / "new.db");
    if (!pid)
        return;
    EXPECT_THAT(varnix({"install", "new.db", inner / "first.db"}).out,
                HasSubstr("process " + *pid + " (holder) still holds the old value of /gain"));
}

TEST_F(LiveProcess, PsAsADocumentSaysWhyItIsEmpty)
{
    std::vector<std::string> command = inNamespaces({"--mount-proc"});
    if (command.empty())
        return;
    command.insert(command.end(), {VARNIX_TOOL, "ps", "--json"});
    const ProcessResult result = run(command);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "varnix: no process that may be looked at has a registry\n");
    const std::string message = result.err.substr(0, result.err.size() - 1);
    EXPECT_EQ(Json::parse(result.out), Json({{"processes", Json::array()},
                                             {"errors", {{{"message", message}, {"status", 1}}}}}));
}

TEST_F(LiveProcess, WithoutItsProcIsNotTakenForNone)
{
    std::vector<std::string> command = inNamespaces();
    if (command.empty())
        return;
    // The first pair sees the /proc of another process id namespace.
    command.insert(command.end(), {"/bin/sh", "-c", R"(
        $0 ps; echo $?
        $0 get --pid 4194304 /gain; echo $?
        mount -t tmpfs none /proc || exit
        $0 ps; echo $?
        $0 get --pid 4194304 /gain; echo $?)",
                                   VARNIX_TOOL});
    const ProcessResult result = run(command);
    EXPECT_EQ(result.out, "5\n5\n5\n5\n");
    const std::string pair =
        "varnix: processes cannot be looked at: their /proc is not mounted\n"
        "varnix: process 4194304 cannot be looked at: its /proc is not mounted\n";
    EXPECT_EQ(result.err, pair + pair);
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
