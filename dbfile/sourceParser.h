#ifndef VARNIX_DBFILE_SOURCEPARSER_H
#define VARNIX_DBFILE_SOURCEPARSER_H

#include "dbfile/database.h"
#include "dbfile/sourceText.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Varnix::DbFile {

/**
 * Reads text sources into one database.
 *
 * A line that is wrong is reported and the next one is read, so that one run names every error; a
 * source with more than `maxErrors` is not read to its end.
 */
class SourceParser
{
public:
    static constexpr std::size_t maxErrors = maxSourceErrors;

    /** What a key means that another source has given. */
    enum class Repetition
    {
        /** An error. */
        REFUSED,
        /** The later source's value takes the place of the earlier one. */
        OVERRIDES
    };

    /** Databases whose length field would be above `maxLength` are an error. */
    explicit SourceParser(std::uint64_t maxLength = Format::maxLength,
                          Repetition repetition = Repetition::REFUSED);

    /** Adds what the source says; `file` names it in errors. */
    void parse(const std::string& file, std::string_view text);

    const std::vector<SourceFinding>& errors() const noexcept { return m_errors; }

    /** What a source may say and hardly anybody wants: keys without a value. */
    const std::vector<SourceFinding>& warnings() const noexcept { return m_warnings; }

    /** Each value that took another's place, which its text names. */
    const std::vector<SourceFinding>& overrides() const noexcept { return m_overrides; }

    /** What was read; worth something only without errors. */
    const Database& database() const noexcept { return m_database; }

    /** Where each of the database's records begins in its source. */
    const std::vector<SourcePlace>& places() const noexcept { return m_places; }

private:
    using Tokens = std::span<const Token>;

    /** A key's place, and which of the records it is. */
    struct Given
    {
        SourcePlace place;
        std::size_t record;
    };

    void readSourceLine(const std::vector<Token>& tokens);
    void readParameter(Tokens tokens);
    void readDirective(Tokens tokens);
    void readRecord(Tokens tokens);
    void readOnce(Tokens tokens, std::string& bytes, std::optional<SourcePlace>& given);
    void readTail(Tokens tokens);
    void addRecord(Record record, std::size_t column);
    void replaceRecord(Record record, Given& given, std::size_t column);
    void grow(std::uint64_t size, std::size_t column);
    SourcePlace placeAt(std::size_t column) const;

    std::uint64_t m_maxLength;
    Repetition m_repetition;
    Database m_database;
    std::vector<SourcePlace> m_places;
    /** The database's length field, kept as it grows. */
    std::uint64_t m_length;
    std::vector<SourceFinding> m_errors;
    std::vector<SourceFinding> m_warnings;
    std::vector<SourceFinding> m_overrides;

    // What was given, and where when it may be given only once.
    std::map<std::string, Given, std::less<>> m_keys;
    std::optional<SourcePlace> m_reserved;
    std::optional<SourcePlace> m_unchecked;
    bool m_tailGiven = false;
    /** A record of another tag, after which none is read. */
    std::optional<SourcePlace> m_lastRecord;

    // The line being read.
    std::string m_file;
    std::size_t m_line = 0;
};

} // namespace Varnix::DbFile

#endif
