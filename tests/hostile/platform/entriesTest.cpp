// What can be in the mailbox directory before the first process comes: every kind of file under
// every kind of name.
#include "conversation.h"
#include "tests/platform/itcSupport.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace HostileTest;
using namespace ItcTest;
namespace fs = std::filesystem;

namespace {

struct Name
{
    const char* state;
    std::string entry;
};

void PrintTo(const Name& name, std::ostream* stream)
{
    *stream << name.entry;
}

/** A socket under that path; its descriptor, or -1. */
int bindAt(const fs::path& path, int type)
{
    const int made = ::socket(AF_UNIX, type, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    // A path of any length, from its directory.
    const int directory = ::open(path.parent_path().c_str(), O_RDONLY | O_DIRECTORY);
    const std::string near = "/proc/self/fd/" + std::to_string(directory) + "/m-0000000s";
    near.copy(address.sun_path, near.size());
    EXPECT_EQ(0, ::bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    fs::rename(path.parent_path() / "m-0000000s", path);
    ::close(directory);
    return made;
}

struct Kind
{
    const char* state;
    void (*make)(const fs::path&);
    bool isDirectory = false;
};

void PrintTo(const Kind& kind, std::ostream* stream)
{
    *stream << kind.state;
}

/** Sockets that live are kept open by the test itself. */
const Kind kinds[] = {
    {"File", [](const fs::path& path) { std::ofstream(path) << "text"; }},
    {"FileOfNoMode",
     [](const fs::path& path) {
         std::ofstream(path) << "7fffffff";
         fs::permissions(path, fs::perms::none);
     }},
    {"Fifo", [](const fs::path& path) { ::mkfifo(path.c_str(), 0600); }},
    {"EmptyDirectory", [](const fs::path& path) { fs::create_directory(path); }, true},
    {"FullDirectory",
     [](const fs::path& path) {
         fs::create_directory(path);
         std::ofstream(path / "m-00000001") << "text";
     },
     true},
    {"DanglingLink", [](const fs::path& path) { fs::create_symlink("m-0badbeef", path); }},
    {"LinkToItself", [](const fs::path& path) { fs::create_symlink(path.filename(), path); }},
    {"LinkOutside", [](const fs::path& path) { fs::create_symlink("/dev/null", path); }},
    {"LinkToMalformedId", [](const fs::path& path) { fs::create_symlink("m-xyz", path); }},
    {"SocketOfADeadProcess", [](const fs::path& path) { ::close(bindAt(path, SOCK_STREAM)); }},
    {"SocketWithoutListener", [](const fs::path& path) { bindAt(path, SOCK_STREAM); }},
    {"DatagramSocket", [](const fs::path& path) { bindAt(path, SOCK_DGRAM); }},
    {"OtherOwner",
     [](const fs::path& path) {
         std::ofstream(path) << "text";
         static_cast<void>(!::chown(path.c_str(), 65534, 65534));
     }},
};

const Name names[] = {
    {"ServersName", "n-server"},
    {"ClientsName", "n-client"},
    {"AnotherName", "n-another"},
    {"NameWithoutText", "n-"},
    {"HugeName", "n-" + std::string(253, 'x')},
    {"EndpointId", "m-00000001"},
    {"LargestId", "m-7fffffff"},
    {"IdOutOfRange", "m-ffffffff"},
    {"IdWithoutDigits", "m-"},
    {"WaitersId", "w-00000001"},
    {"PassingId", "t-00000001"},
    {"Lock", "lock"},
};

class HostileEntry : public MailboxDirectory,
                     public testing::WithParamInterface<std::tuple<Name, Kind>>
{
};

std::string remedyFor(const fs::path& entry)
{
    return "cannot name a mailbox: remove the directory " + entry.native() + "\n";
}

TEST_P(HostileEntry, IsNoObstacleOrIsNamed)
{
    const auto& [name, kind] = GetParam();
    kind.make(directory() / name.entry);
    if (kind.isDirectory && name.entry == "n-server")
        expectRefused("server", remedyFor(directory() / name.entry));
    else if (kind.isDirectory && name.entry == "n-client")
        expectRefused("client", remedyFor(directory() / name.entry));
    else
        converse([] {}, [] {});
}

INSTANTIATE_TEST_SUITE_P(, HostileEntry,
                         testing::Combine(testing::ValuesIn(names), testing::ValuesIn(kinds)),
                         [](const auto& state) {
                             return std::string(std::get<0>(state.param).state) + "Is" +
                                    std::get<1>(state.param).state;
                         });

/** The servers' name leads to an endpoint that somebody made by hand. */
class HostileEndpoint : public MailboxDirectory, public testing::WithParamInterface<Kind>
{
};

TEST_P(HostileEndpoint, IsTakenForNoServer)
{
    GetParam().make(directory() / "m-00000001");
    fs::create_symlink("m-00000001", directory() / "n-server");
    converse([] {}, [] {});
}

INSTANTIATE_TEST_SUITE_P(, HostileEndpoint, testing::ValuesIn(kinds),
                         [](const auto& state) { return state.param.state; });

} // namespace
