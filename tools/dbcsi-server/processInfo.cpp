#include "processInfo.h"

#include "dbfile/shown.h"

#include <fstream>
#include <iterator>
#include <sstream>

namespace Dbcsi {
namespace {

std::string contentOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string firstLine(const std::string& text)
{
    return text.substr(0, text.find('\n'));
}

/** The 22nd field; the second, the command in parentheses, may hold blanks and parentheses. */
std::uint64_t startTime(const std::string& stat)
{
    const std::size_t end = stat.rfind(')');
    if (end == std::string::npos)
        return 0;
    std::istringstream fields(stat.substr(end + 1));
    constexpr int fieldsBefore = 19;
    std::string skipped;
    for (int i = 0; i < fieldsBefore; ++i)
        fields >> skipped;
    std::uint64_t ticks = 0;
    fields >> ticks;
    return fields ? ticks : 0;
}

/** The kernel keeps 15 characters of a command; its command line may have the whole. */
std::string wholeCommand(const std::string& command, const std::string& commandLine)
{
    const std::string path = commandLine.substr(0, commandLine.find('\0'));
    const std::string name = path.substr(path.rfind('/') + 1);
    return !command.empty() && name.starts_with(command) ? firstLine(name) : command;
}

} // namespace

std::string ProcessInfo::text() const
{
    return "process " + std::to_string(id.process) + " (" + Varnix::DbFile::shown(command) + ")";
}

ProcessInfo processInfo(std::int32_t process, std::uint32_t mailbox)
{
    const std::string directory = "/proc/" + std::to_string(process) + "/";
    return {
        {process, startTime(contentOf(directory + "stat")), mailbox},
        wholeCommand(firstLine(contentOf(directory + "comm")), contentOf(directory + "cmdline"))};
}

std::string bootId()
{
    return firstLine(contentOf("/proc/sys/kernel/random/boot_id"));
}

} // namespace Dbcsi
