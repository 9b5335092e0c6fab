#ifndef VARNIX_TOOL_EXPLANATION_H
#define VARNIX_TOOL_EXPLANATION_H

#include "configFile.h"
#include "databaseFile.h"
#include "dbfile/store.h"
#include "nodePlace.h"
#include "production.h"

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Varnix::Tool {

/** An entry of the configuration and the identities that its pattern matches. */
struct ExplainedEntry
{
    Backend::DBUtils::DbConfiguration configuration;
    /** Where it begins: in the configuration file, or in one that this includes. */
    Backend::DBUtils::ConfigText::Place place;
    std::string pattern;
    std::vector<std::string> matches;
};

/** A place in the configuration where a file is listed. */
struct Listing
{
    std::size_t entry = 0;
    /** Where in the entry's file_paths. */
    std::size_t position = 0;
};

struct ExplainedFile
{
    std::string path;
    /** Whether an entry that matches lists it. */
    bool selected = false;
    /** Of a selected file, first the listing that gives it its place. */
    std::vector<Listing> listings;
    /** Why it cannot be used. */
    std::optional<std::string> problem;
    /** Null: it cannot be read. */
    std::shared_ptr<const FileContent> content;

    /** What the file alone gives a client for the key; null too where it cannot be used. */
    const DbFile::StoredValue* find(const std::string& key) const;
};

/** What a client gets for a key. */
struct Answer
{
    enum class Kind
    {
        /** No database at all: a selected file cannot be used. */
        NO_DATABASE,
        ABSENT,
        /** The key is there, and no read accepts it. */
        MISMATCH,
        VALUE,
    };

    Kind kind = Kind::ABSENT;
    DbFile::Value value;
    bool fromProduction = false;
    /** The file that gives it, when it is not the production database. */
    std::size_t file = 0;
    /** The type in the components, where a production value of another type hides it. */
    std::optional<std::uint8_t> hiddenType;
};

/** As a document names it. */
const char* nameOf(Answer::Kind kind) noexcept;

/** What a running process holds beside what the files say. */
struct HeldValues
{
    pid_t process = 0;
    std::map<std::string, DbFile::Value> values;
};

/** Why a configuration gives a client what it gives. */
struct Explanation
{
    std::string config;
    std::optional<Production> production;
    /** Why there is no production database, when the identities were given. */
    std::optional<std::string> noProduction;
    std::vector<std::string> identities;
    std::vector<ExplainedEntry> entries;
    /** The selected ones in the order in which they win, then the others. */
    std::vector<ExplainedFile> files;

    DbFile::Store productionStore;
    DbFile::Store componentStore;

    /** Where the explanation is about a running process. */
    std::optional<HeldValues> held;

    bool isUsable() const;
    Answer answerFor(const std::string& key) const;
    /** What a client in the process gets now; only with `held`. */
    Answer heldAnswerFor(const std::string& key) const;
    /** Whether the process holds something else than the files say. */
    bool differs(const std::string& key) const;
    /** Every key that a client could ask for. */
    std::vector<std::string> keys() const;
};

/**
 * Explains a configuration as the node at `place` has it. `read` reads each database file. Failure
 * with NODE_UNUSABLE or INVALID.
 */
Explanation explain(const std::string& config, const NodePlace& place = {},
                    const FileReader& read = plainReader());

} // namespace Varnix::Tool

#endif
