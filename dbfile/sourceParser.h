#ifndef VARNIX_DBFILE_SOURCEPARSER_H
#define VARNIX_DBFILE_SOURCEPARSER_H

#include "dbfile/database.h"
#include "dbfile/sourceLine.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Varnix::DbFile {

/** A place in a text source; line and column count from 1, columns in bytes. */
struct SourcePlace
{
    std::string file;
    std::size_t line = 0;
    std::size_t column = 0;

    bool operator==(const SourcePlace&) const = default;
};

/** Something said about a place in a text source. */
struct SourceFinding
{
    SourcePlace place;
    std::string text;
};

/** "FILE:LINE:COLUMN". */
std::string describe(const SourcePlace& place);

/** "FILE:LINE:COLUMN: SEVERITY: text". */
std::string describe(const SourceFinding& finding, std::string_view severity = "error");

/**
 * Reads text sources into one database.
 *
 * A line that is wrong is reported and the next one is read, so that one run names every error; a
 * source with more than `maxErrors` is not read to its end.
 */
class SourceParser
{
public:
    static constexpr std::size_t maxErrors = 20;

    /** Databases whose length field would be above `maxLength` are an error. */
    explicit SourceParser(std::uint64_t maxLength = Format::maxLength);

    /** Adds what the source says; `file` names it in errors. */
    void parse(const std::string& file, std::string_view text);

    const std::vector<SourceFinding>& errors() const noexcept { return m_errors; }

    /** What a source may say and hardly anybody wants: keys without a value. */
    const std::vector<SourceFinding>& warnings() const noexcept { return m_warnings; }

    /** What was read; worth something only without errors. */
    const Database& database() const noexcept { return m_database; }

private:
    using Tokens = std::span<const Token>;

    bool isText(std::string_view text);
    void readSourceLine(std::string_view line);
    void readParameter(Tokens tokens);
    void readDirective(Tokens tokens);
    void readRecord(Tokens tokens);
    void readOnce(Tokens tokens, std::string& bytes, std::optional<SourcePlace>& given);
    void readTail(Tokens tokens);
    void addRecord(Record record, std::size_t column);
    void grow(std::uint64_t size, std::size_t column);
    SourcePlace placeAt(std::size_t column) const;
    void report(std::size_t line, std::size_t column, std::string text);

    std::uint64_t m_maxLength;
    Database m_database;
    /** The database's length field, kept as it grows. */
    std::uint64_t m_length;
    std::vector<SourceFinding> m_errors;
    std::vector<SourceFinding> m_warnings;

    // What was given, and where when it may be given only once.
    std::map<std::string, SourcePlace, std::less<>> m_keys;
    std::optional<SourcePlace> m_reserved;
    std::optional<SourcePlace> m_unchecked;
    bool m_tailGiven = false;
    /** A record of another tag, behind which none is read. */
    std::optional<SourcePlace> m_lastRecord;

    // The line being read.
    std::string m_file;
    std::size_t m_line = 0;
};

} // namespace Varnix::DbFile

#endif
