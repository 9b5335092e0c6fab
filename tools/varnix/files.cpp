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

std::string textOf(const std::string& path, const std::vector<DbFile::Finding>& refusals)
{
    std::string text;
    for (const DbFile::Finding& refusal : refusals)
        text.append(text.empty() ? "" : "\n").append(DbFile::describe(path, refusal));
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

std::string readAccepted(const std::string& path)
{
    std::string image = readInput(path);
    if (const auto refusals = DbFile::refusals(image); !refusals.empty())
        throw Failure(Status::INVALID, textOf(path, refusals));
    return image;
}

Image readImage(const std::string& path)
{
    try {
        Image image{.bytes = DbFile::readWholeFile(path), .problem = {}, .isLoaded = false};
        image.isLoaded = DbFile::loadRefusals(image.bytes).empty();
        if (const auto refusals = DbFile::refusals(image.bytes); !refusals.empty())
            image.problem = textOf(path, refusals);
        return image;
    } catch (const DbFile::FileError& error) {
        return {.bytes = "", .problem = error.what(), .isLoaded = false};
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
