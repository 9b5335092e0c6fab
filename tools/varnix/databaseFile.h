#ifndef VARNIX_TOOL_DATABASEFILE_H
#define VARNIX_TOOL_DATABASEFILE_H

#include "dbfile/database.h"
#include "dbfile/finding.h"
#include "dbfile/store.h"
#include "schema/report.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Varnix::Tool {

/** What schemas are held against. */
struct Judgement
{
    Schema::Schema schema;
    Schema::Coverage coverage = Schema::Coverage::OPEN;
};

/** What is in a database file, whatever its name. */
struct FileContent
{
    /** Why a loader would not take it; empty: it would. */
    std::vector<DbFile::Finding> refusals;
    /** Whether it is loaded, though its records may not be readable: no other is looked for. */
    bool isLoaded = false;
    bool endsEarly = false;
    /** What `varnix check` finds. */
    std::vector<DbFile::Finding> defects;
    std::vector<DbFile::Record> records;
    /** What the file alone gives a client. */
    DbFile::Store store;
    /** What the schemas say; without the file's name. */
    std::vector<Schema::Report> reports;

    FileContent(std::string_view image, const Judgement& judgement);
};

/** Whether a file begins as a database file does. */
bool looksLikeDatabase(const std::string& path);

/** A file as far as it can be used. */
struct DatabaseFile
{
    /** Null: it cannot be read. */
    std::shared_ptr<const FileContent> content;
    /** Why it is not used, in words that name it; nothing: it is. */
    std::optional<std::string> problem;

    bool isLoaded() const noexcept { return content && content->isLoaded; }
};

/** Reads the file at a path of this host. */
using FileReader = std::function<DatabaseFile(const std::string& path)>;

/** A reader that keeps nothing. */
FileReader plainReader(Judgement judgement = {});

/** The content with the problem that it is; `path` names it. */
DatabaseFile named(const std::string& path, std::shared_ptr<const FileContent> content);

} // namespace Varnix::Tool

#endif
