#ifndef VARNIX_KIT_DETAIL_NODEDIRECTORY_H
#define VARNIX_KIT_DETAIL_NODEDIRECTORY_H

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include <unistd.h>

namespace Varnix::Kit::Detail {

/** Whether the process has called initDb: the library's thread lives as long as its registry. */
inline bool hasRegistry()
{
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(thread.path() / "comm");
        std::string name;
        if (std::getline(file, name) && name == "varnixCmd")
            return true;
    }
    return false;
}

/** Makes sure that a process has one node, and has it in time. */
class NodeClaim
{
public:
    NodeClaim()
    {
        if (isHeld())
            throw std::invalid_argument("this process has a TestNode already");
        if (hasRegistry())
            throw std::invalid_argument("a TestNode has to come before the process's first initDb, "
                                        "so a process that has used one cannot use another");
        isHeld() = true;
    }
    ~NodeClaim() { isHeld() = false; }
    NodeClaim(const NodeClaim&) = delete;
    NodeClaim& operator=(const NodeClaim&) = delete;

private:
    static std::atomic<bool>& isHeld()
    {
        static std::atomic<bool> held{false};
        return held;
    }
};

/** A new directory, removed with everything in it at the end; not by a forked child. */
class NodeDirectory
{
public:
    NodeDirectory()
    {
        std::string name = (std::filesystem::temp_directory_path() / "varnix-node-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr)
            throw std::system_error(errno, std::generic_category(), name);
        m_path = name;
    }
    ~NodeDirectory()
    {
        std::error_code ignored;
        if (m_maker == ::getpid())
            std::filesystem::remove_all(m_path, ignored);
    }
    NodeDirectory(const NodeDirectory&) = delete;
    NodeDirectory& operator=(const NodeDirectory&) = delete;

    const std::filesystem::path& path() const noexcept { return m_path; }

private:
    pid_t m_maker = ::getpid();
    std::filesystem::path m_path;
};

} // namespace Varnix::Kit::Detail

#endif
