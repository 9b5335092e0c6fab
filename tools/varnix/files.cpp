#include "files.h"

#include "command.h"
#include "dbfile/decoder.h"
#include "dbfile/fileIo.h"

#include <utility>

namespace Varnix::Tool {

namespace {

Failure unreadable(const DbFile::FileError& error)
{
    return {Status::UNREADABLE, std::string("varnix: ") + error.what()};
}

std::string refusalText(const std::string& path, const std::string& image)
{
    std::string text;
    for (const DbFile::Finding& finding : DbFile::refusals(image))
        text.append(text.empty() ? "" : "\n").append(DbFile::describe(path, finding));
    return text;
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
    const std::string refused = refusalText(path, image);
    if (!refused.empty())
        throw Failure(Status::INVALID, refused);
    return DbFile::decode(image);
}

Image readImage(const std::string& path)
{
    try {
        Image image{DbFile::readWholeFile(path), std::nullopt};
        if (std::string refused = refusalText(path, image.bytes); !refused.empty())
            image.problem = std::move(refused);
        return image;
    } catch (const DbFile::FileError& error) {
        return {"", error.what()};
    }
}

std::optional<std::string> problemWith(const std::string& path)
{
    return readImage(path).problem;
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
