#include "databaseFile.h"

#include "dbfile/checker.h"
#include "dbfile/decoder.h"
#include "dbfile/fileIo.h"

#include <array>
#include <fstream>
#include <utility>

namespace Varnix::Tool {

FileContent::FileContent(std::string_view image, const Judgement& judgement)
    : refusals(DbFile::refusals(image)), isLoaded(DbFile::loadRefusals(image).empty()),
      endsEarly(DbFile::endsEarly(image)), defects(DbFile::check(image).findings)
{
    if (!refusals.empty())
        return;
    records = DbFile::readRecords(image);
    store.populate(records);
    reports = reportImage(judgement.schema, "", image, judgement.coverage);
}

bool looksLikeDatabase(const std::string& path)
{
    std::array<char, DbFile::Format::headerSize> header{};
    std::ifstream file(path, std::ios::binary);
    return file.read(header.data(), header.size()) &&
           DbFile::isThisFormat({header.data(), header.size()});
}

DatabaseFile named(const std::string& path, std::shared_ptr<const FileContent> content)
{
    DatabaseFile file{std::move(content), {}};
    if (!file.content->refusals.empty())
        file.problem = describe(path, file.content->refusals);
    return file;
}

FileReader plainReader(Judgement judgement)
{
    return [judgement = std::move(judgement)](const std::string& path) {
        try {
            return named(
                path, std::make_shared<const FileContent>(DbFile::readWholeFile(path), judgement));
        } catch (const DbFile::FileError& error) {
            return DatabaseFile{nullptr, error.what()};
        }
    };
}

} // namespace Varnix::Tool
