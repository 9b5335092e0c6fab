#include "files.h"

#include "command.h"
#include "dbfile/decoder.h"
#include "dbfile/fileIo.h"
#include "dbfile/shown.h"

#include <filesystem>
#include <system_error>
#include <utility>

namespace Varnix::Tool {

namespace {

Failure unreadable(const DbFile::FileError& error)
{
    return {Status::UNREADABLE, std::string("varnix: ") + error.what()};
}

bool isSameFile(const std::string& a, const std::string& b)
{
    std::error_code error;
    return a == b || std::filesystem::equivalent(a, b, error);
}

} // namespace

std::string readInput(const std::string& path)
{
    try {
        return DbFile::readWholeFile(path);
    } catch (const DbFile::FileError& error) {
        throw unreadable(error);
    }
}

std::string readAccepted(const std::string& path)
{
    std::string image = readInput(path);
    if (const auto refusals = DbFile::refusals(image); !refusals.empty())
        throw Failure(Status::INVALID, DbFile::describe(path, refusals));
    return image;
}

void writeOutput(const std::string& path, std::string_view content)
{
    writeOutput(path, [&content] { return std::string(std::exchange(content, {})); });
}

void writeOutput(const std::string& path, const std::function<std::string()>& next)
{
    try {
        DbFile::replaceFile(path, next);
    } catch (const DbFile::FileError& error) {
        throw unreadable(error);
    }
}

void refuseReplacing(const std::string& replaced, const std::string& path, const std::string& role,
                     const std::string& option)
{
    if (isSameFile(path, replaced))
        throw Failure(Status::WRONG_USAGE, "varnix: the " + role + " would replace " +
                                               DbFile::shown(replaced) +
                                               "; name another file with " + option);
}

} // namespace Varnix::Tool
