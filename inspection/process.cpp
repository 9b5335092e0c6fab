#include "inspection/process.h"

#include "inspection/image.h"
#include "inspection/notInspected.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <memory>
#include <sstream>
#include <string_view>
#include <system_error>

#include <dirent.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Varnix::Inspection {

namespace {

using Reason = NotInspected::Reason;

std::string named(pid_t id)
{
    return "process " + std::to_string(id);
}

std::string procFile(pid_t id, const char* name)
{
    return "/proc/" + std::to_string(id) + "/" + name;
}

[[noreturn]] void failGone(pid_t id)
{
    throw NotInspected(Reason::GONE, named(id) + " has ended");
}

int openDescriptor(pid_t id)
{
    const auto descriptor = static_cast<int>(::syscall(SYS_pidfd_open, id, 0));
    if (descriptor >= 0)
        return descriptor;
    if (errno == ESRCH || errno == EINVAL)
        throw NotInspected(Reason::GONE, "there is no " + named(id));
    throw std::system_error(errno, std::generic_category(), "cannot watch " + named(id));
}

/** Where the files that a process has mapped begin in its memory. */
std::vector<Address> imageStarts(pid_t id)
{
    std::vector<Address> starts;
    std::ifstream maps(procFile(id, "maps"));
    for (std::string line; std::getline(maps, line);) {
        std::istringstream fields(line);
        std::string range;
        std::string access;
        std::string offset;
        std::string device;
        std::string inode;
        fields >> range >> access >> offset >> device >> inode;
        Address start = 0;
        const auto parsed = std::from_chars(range.data(), range.data() + range.size(), start, 16);
        const bool isFile = inode != "0" && offset.find_first_not_of('0') == std::string::npos;
        if (fields && isFile && access.starts_with('r') && parsed.ec == std::errc())
            starts.push_back(start);
    }
    return starts;
}

Address findRoot(const Memory& memory, pid_t id)
{
    for (const Address start : imageStarts(id)) {
        const auto note = findNote(memory, start);
        if (!note)
            continue;
        if (note->layout != layoutNumber)
            throw NotInspected(Reason::UNKNOWN_LAYOUT,
                               named(id) + " uses a release of the library with layout " +
                                   std::to_string(note->layout) + "; this one knows layout " +
                                   std::to_string(layoutNumber));
        return note->root;
    }
    // A process that may not be looked at shows no mapped file either.
    memory.object<char>(0);
    throw NotInspected(Reason::NO_REGISTRY, named(id) + " does not use the library");
}

struct CloseDirectory
{
    void operator()(DIR* directory) const noexcept { ::closedir(directory); }
};

} // namespace

ProcessDescriptor::ProcessDescriptor(pid_t id) : m_descriptor(openDescriptor(id)) {}

ProcessDescriptor::~ProcessDescriptor()
{
    ::close(m_descriptor);
}

bool ProcessDescriptor::hasEnded() const noexcept
{
    pollfd ended{m_descriptor, POLLIN, 0};
    return ::poll(&ended, 1, 0) != 0;
}

Process::Process(pid_t id) : m_id(id), m_descriptor(id), m_memory(id)
{
    m_root = findRoot(m_memory, id);
    requireAlive();
}

void Process::requireAlive() const
{
    if (m_descriptor.hasEnded())
        failGone(m_id);
}

std::string Process::command() const
{
    std::string name;
    std::ifstream file(procFile(m_id, "comm"));
    std::getline(file, name);
    requireAlive();
    return name;
}

RegistryView Process::registry() const
{
    auto view = viewRegistry(m_memory, m_root);
    requireAlive();
    if (!view)
        throw NotInspected(Reason::NO_REGISTRY,
                           named(m_id) + " has no registry: it has called no initDb");
    return std::move(*view);
}

std::optional<std::vector<ParameterView>>
Process::parameters(const StoreView& store, std::span<const std::string> keys) const
{
    auto views = readParameters(m_memory, m_root, store, keys);
    requireAlive();
    return views;
}

std::vector<pid_t> processIds()
{
    // Not by the standard library's iterator, which ends the process where memory runs out.
    const std::unique_ptr<DIR, CloseDirectory> directory(::opendir("/proc"));
    if (!directory)
        throw std::system_error(errno, std::generic_category(), "cannot read /proc");
    std::vector<pid_t> ids;
    while (const dirent* const entry = ::readdir(directory.get())) {
        const std::string_view name = entry->d_name;
        pid_t id = 0;
        const auto parsed = std::from_chars(name.data(), name.data() + name.size(), id);
        if (parsed.ec == std::errc() && parsed.ptr == name.data() + name.size())
            ids.push_back(id);
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

} // namespace Varnix::Inspection
