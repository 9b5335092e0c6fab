#include "files.h"

#include "command.h"
#include "dbfile/decoder.h"
#include "dbfile/fileIo.h"

#include <vector>

namespace Varnix::Tool {

namespace {

Failure unreadable(const DbFile::FileError& error)
{
    return {Status::Unreadable, std::string("varnix: ") + error.what()};
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

DbFile::Database readDatabase(const std::string& path)
{
    const std::string image = readInput(path);
    std::string refused;
    for (const DbFile::Finding& finding : DbFile::refusals(image))
        refused.append(refused.empty() ? "" : "\n").append(DbFile::describe(path, finding));
    if (!refused.empty())
        throw Failure(Status::Invalid, refused);
    return DbFile::decode(image);
}

void writeOutput(const std::string& path, std::string_view content)
{
    try {
        DbFile::replaceFile(path, content);
    } catch (const DbFile::FileError& error) {
        throw unreadable(error);
    }
}

} // namespace Varnix::Tool
