#ifndef VARNIX_KIT_TESTNODE_H
#define VARNIX_KIT_TESTNODE_H

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <unistd.h>
#include <varnix/kit/detail/environment.h>
#include <varnix/kit/detail/nodeDirectory.h>
#include <varnix/kit/detail/serverProcess.h>
#include <varnix/kit/detail/tool.h>

namespace Varnix::Kit {

/**
 * A whole node for an integration test, in a temporary directory: a production database, a
 * subscription server, and mailboxes that meet no others, so that tests run side by side.
 *
 *     TestNode node;
 *     const std::string unit = node.database("unit.db", "/unit/gain U16 17 31\n");
 *     const std::string file = node.configuration(
 *         "varnix = { component_versions = ( { component_id = \"test\"; revision = \"1\";"
 *         " file_paths = [ \"" + unit + "\" ]; } ); };");
 *     auto database = V1::DbRegistryIf::getInstance().initDb(file);
 *     node.write({"db", "write", "/unit/gain", "-i", "0", "9"});
 *
 * The environment of this process names the node, so this process and those that it starts are its
 * clients. The end of the object undoes everything: server, environment, directory. Where the
 * process is ended without that, the server and the directory go all the same.
 *
 * A process reads its production database once, at its first initDb, and keeps its mailboxes. So a
 * TestNode comes before the process's first initDb, and a process has one: let each test that needs
 * one run in a process of its own, as gtest_discover_tests and catch_discover_tests do, or share
 * one for the whole program.
 *
 * It needs the commands varnix and dbcsi-server. They are looked for in the directory that the
 * macro VARNIX_KIT_TOOLS names, which the CMake target varnix::kit defines, and then in PATH.
 *
 * Threads: one at a time; the constructor and the destructor change the environment, so no other
 * thread may use that meanwhile.
 *
 * Errors: std::invalid_argument for what is said below, std::runtime_error with what a command
 * complained of, std::system_error and std::filesystem::filesystem_error where the system refuses
 * something.
 */
class TestNode
{
public:
    /**
     * A node with the identity "test_1" in its production database and nothing else. Throws
     * std::invalid_argument where the process has another TestNode, or a registry already.
     */
    TestNode()
    {
        for (const char* const part : {"node", "files"})
            std::filesystem::create_directory(m_directory.path() / part);
        production("/componentConfigId CHAR \"test_1\"\n");
        m_server.emplace(m_directory.path());
        m_server->ask("wait 0", " subscriber");
    }

    TestNode(const TestNode&) = delete;
    TestNode& operator=(const TestNode&) = delete;

    /**
     * Makes the production database of a text source, see varnix-source(5), in place of the one
     * before. The source has to name the node's identities in "/componentConfigId". Throws
     * std::invalid_argument after the process's first initDb, which has read the one before.
     */
    void production(const std::string& text)
    {
        if (Detail::hasRegistry())
            throw std::invalid_argument(
                "the production database of a TestNode comes before the process's first initDb");
        build("node/production", text);
    }

    /**
     * Makes a database file of a text source and returns its path. Throws std::invalid_argument
     * where `name` is not a plain file name.
     */
    std::string database(const std::string& name, const std::string& text)
    {
        if (name.empty() || name.find('/') != std::string::npos || name.front() == '.')
            throw std::invalid_argument("\"" + name + "\" cannot be the name of a database file");
        return build("files/" + name, text);
    }

    /** Writes a configuration file, see varnix-config(5), and returns its path, for initDb. */
    std::string configuration(const std::string& text)
    {
        const auto path =
            m_directory.path() / ("configuration" + std::to_string(++m_count) + ".cfg");
        writeFile(path, text);
        return path.string();
    }

    /**
     * Writes as an operator, with words as dbcsi-server(1) describes them, and returns when every
     * subscriber has handled the write. This process is one once it has called initDb; for others
     * see waitForSubscribers. Whether a subscriber took the write or rejected it is not told.
     *
     * Throws std::invalid_argument for fewer than four words, and for a word with a line's end or a
     * NUL in it.
     */
    void write(const std::vector<std::string>& words)
    {
        const std::string line = lineOf(words);
        if (Detail::hasRegistry())
            awaitOwnSubscription();
        m_server->ask(line, "sent to ");
        m_server->ask(settle, "settled ");
    }

    /** Waits until the node has at least `count` subscribers, this process included. */
    void waitForSubscribers(std::size_t count)
    {
        m_server->ask("wait " + std::to_string(count) + " 30", " subscriber");
    }

    /** What the node consists of. */
    const std::filesystem::path& directory() const noexcept { return m_directory.path(); }

private:
    static constexpr const char* settle = "settle 30";

    static void writeFile(const std::filesystem::path& path, const std::string& text)
    {
        std::ofstream file(path, std::ios::binary);
        if (!(file << text << std::flush))
            throw std::runtime_error("cannot write " + path.string());
    }

    static std::string lineOf(const std::vector<std::string>& words)
    {
        if (words.size() < 4)
            throw std::invalid_argument("a write has at least four words, not " +
                                        std::to_string(words.size()));
        std::string line;
        for (const std::string& word : words) {
            line += line.empty() ? "'" : " '";
            for (const char c : word) {
                if (c == '\n' || c == '\0')
                    throw std::invalid_argument("a write's word cannot hold a line's end or a NUL");
                line += c == '\'' ? std::string(R"('\'')") : std::string(1, c);
            }
            line += '\'';
        }
        return line;
    }

    std::string build(const std::string& name, const std::string& text) const
    {
        const auto database = m_directory.path() / name;
        const auto source = m_directory.path() / (name + ".txt");
        writeFile(source, text);
        Detail::buildDatabase(source, database);
        return database.string();
    }

    /** A registry subscribes on a thread of its own, some time after initDb has returned. */
    void awaitOwnSubscription()
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        const auto entry =
            m_directory.path() / "itc" / ("n-dbSubscriber" + std::to_string(::getpid()));
        for (;;) {
            std::error_code absent;
            const std::string endpoint = std::filesystem::read_symlink(entry, absent).string();
            if (endpoint.size() > 2 &&
                m_server->ask(settle, "settled ").find("0x" + endpoint.substr(2)) !=
                    std::string::npos)
                return;
            if (std::chrono::steady_clock::now() > deadline)
                throw std::runtime_error(
                    "this process has not subscribed to its TestNode's server");
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    Detail::NodeClaim m_claim;
    Detail::NodeDirectory m_directory;
    Detail::EnvironmentVariable m_first{"sys_uflash_prod_db_dev_dev", std::nullopt};
    Detail::EnvironmentVariable m_second{"sys_uflash_prod_db_dev",
                                         (m_directory.path() / "node/production").string()};
    Detail::EnvironmentVariable m_mailboxes{"VARNIX_ITC_DIR",
                                            (m_directory.path() / "itc").string()};
    std::optional<Detail::ServerProcess> m_server;
    std::size_t m_count = 0;
};

} // namespace Varnix::Kit

#endif
