#include "inspection/process.h"

#include "inspection/image.h"
#include "inspection/notInspected.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <memory>
#include <string_view>
#include <system_error>

#include <dirent.h>
#include <fcntl.h>
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

int openState(pid_t id)
{
    if (!isProcMounted())
        throw NotInspected(Reason::NOT_PERMITTED,
                           named(id) + " cannot be looked at: its /proc is not mounted");
    const int descriptor = ::open(procFile(id, "stat").c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor >= 0)
        return descriptor;
    if (errno == ENOENT || errno == ESRCH)
        throw NotInspected(Reason::GONE, "there is no " + named(id));
    throw std::system_error(errno, std::generic_category(), "cannot watch " + named(id));
}

/** Takes the first field, which a blank ends, from a line. */
std::string_view takeField(std::string_view& line)
{
    const std::size_t end = std::min(line.find(' '), line.size());
    const std::string_view field = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    return field;
}

/** Where the files that a process has mapped begin in its memory. */
std::vector<Address> imageStarts(pid_t id)
{
    std::vector<Address> starts;
    std::ifstream maps(procFile(id, "maps"));
    for (std::string text; std::getline(maps, text);) {
        std::string_view line = text;
        const std::string_view range = takeField(line);
        const std::string_view access = takeField(line);
        const std::string_view offset = takeField(line);
        takeField(line); // the device
        const std::string_view inode = takeField(line);
        Address start = 0;
        const auto parsed = std::from_chars(range.data(), range.data() + range.size(), start, 16);
        const bool isFile = inode != "0" && offset.find_first_not_of('0') == std::string_view::npos;
        if (isFile && access.starts_with('r') && parsed.ec == std::errc())
            starts.push_back(start);
    }
    return starts;
}

/** Another memory whose pages at some addresses are read at once, so that a look there is cheap. */
class MemoryWithPages final : public Memory
{
public:
    MemoryWithPages(const Memory& memory, std::span<const Address> starts)
        : m_memory(memory), m_starts(starts.subspan(0, std::min(starts.size(), mostPages))),
          m_pages(m_starts.size() * pageSize, '\0')
    {
        std::vector<Range> ranges;
        ranges.reserve(m_starts.size());
        for (const Address start : m_starts)
            ranges.push_back({start, pageSize});
        if (!m_memory.read(ranges, m_pages))
            m_starts = {}; // one of them is not there; the others are read when they are needed
    }

    bool read(std::span<const Range> ranges, std::span<char> bytes) const override
    {
        for (std::size_t i = 0; ranges.size() == 1 && i < m_starts.size(); ++i) {
            const std::uint64_t offset = ranges[0].start - m_starts[i];
            if (offset > pageSize || ranges[0].size > pageSize - offset)
                continue;
            m_pages.copy(bytes.data(), ranges[0].size, i * pageSize + offset);
            return true;
        }
        return m_memory.read(ranges, bytes);
    }

private:
    static constexpr std::uint64_t pageSize = 4096;
    static constexpr std::size_t mostPages = 512;

    const Memory& m_memory;
    std::span<const Address> m_starts;
    std::string m_pages;
};

Address findRoot(const Memory& memory, pid_t id)
{
    const std::vector<Address> starts = imageStarts(id);
    const MemoryWithPages images(memory, starts);
    for (const Address start : starts) {
        const auto note = findNote(images, start);
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

ProcessDescriptor::ProcessDescriptor(pid_t id) : m_descriptor(openState(id)) {}

ProcessDescriptor::~ProcessDescriptor()
{
    ::close(m_descriptor);
}

bool ProcessDescriptor::hasEnded() const noexcept
{
    // "17 (name) S 1 ...": the name may have parentheses of its own, what follows it has none.
    std::array<char, 512> text{};
    const ssize_t size = ::pread(m_descriptor, text.data(), text.size(), 0);
    const std::string_view line(text.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    const std::size_t name = line.rfind(") ");
    if (name == std::string_view::npos || name + 2 == line.size())
        return true;
    const char state = line[name + 2];
    return state == 'Z' || state == 'X';
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

std::optional<std::vector<ParameterPlace>> Process::find(const StoreView& store,
                                                         std::span<const std::string> keys) const
{
    auto places = findParameters(m_memory, m_root, store, keys);
    requireAlive();
    return places;
}

std::optional<std::vector<ParameterView>>
Process::parameters(const StoreView& store, std::vector<ParameterPlace> places) const
{
    auto views = readParameters(m_memory, m_root, store, std::move(places));
    requireAlive();
    return views;
}

bool isProcMounted() noexcept
{
    std::array<char, 16> self{};
    const ssize_t size = ::readlink("/proc/self", self.data(), self.size());
    pid_t id = 0;
    std::from_chars(self.data(), self.data() + std::max<ssize_t>(size, 0), id);
    return id == ::getpid();
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
