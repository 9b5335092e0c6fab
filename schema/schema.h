#ifndef VARNIX_SCHEMA_SCHEMA_H
#define VARNIX_SCHEMA_SCHEMA_H

#include "dbfile/sourceText.h"
#include "dbfile/types.h"
#include "schema/keyPattern.h"
#include "schema/limits.h"

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace Varnix::Schema {

/** How many elements a value may have; of a CHAR, bytes. */
struct Count
{
    std::size_t min = 0;
    std::size_t max = 0;

    bool holds(std::size_t count) const noexcept { return count >= min && count <= max; }
    bool excludes(const Count& other) const noexcept { return min > other.max || other.min > max; }

    bool operator==(const Count&) const = default;
};

/** "3", or "1..8". */
std::string describe(const Count& count);

/** A default's data, and where it is given. */
struct Default
{
    std::string data;
    std::size_t column = 0;
};

/** What one line says of the parameters whose keys match. */
struct Line
{
    DbFile::SourcePlace place;
    KeyPattern key;
    const DbFile::Type* type;
    std::optional<Count> count = {};
    Limits limits = {};
    std::optional<std::string> unit = {};
    std::optional<Default> fallback = {};
    bool isRequired = false;
    bool isDeprecated = false;
    std::optional<std::string> description = {};

    /** "TYPE[COUNT]". */
    std::string typeText() const;
    /** "FILE:LINE". */
    std::string reference() const;
};

/** The lines of one or several schemas. All lines that match a key hold for it. */
class Schema
{
public:
    static constexpr std::size_t maxLines = 10000;
    static constexpr std::size_t maxPatterns = 1000;
    /** Of all patterns together, in bytes: each is compared with each other one. */
    static constexpr std::size_t maxPatternSize = 32768;
    /** Of the expressions in lines with patterns, written out: a value may have to match all. */
    static constexpr std::size_t maxExpressionSize = 20000;

    /** What is full where there is no room for the line; empty: there is. */
    std::string whatIsFullFor(const Line& line) const;
    void add(Line line);

    const std::vector<Line>& lines() const noexcept { return m_lines; }
    /** The lines whose keys match, in their order. */
    std::vector<const Line*> matching(const std::string& key) const;
    /** The line whose default the key has: one of its own before a pattern's; null: none. */
    const Line* defaultOf(const std::string& key) const;
    /** The indices of the lines whose keys are patterns. */
    const std::vector<std::size_t>& patterns() const noexcept { return m_patterns; }

private:
    std::vector<Line> m_lines;
    std::unordered_map<std::string, std::vector<std::size_t>> m_literals;
    std::vector<std::size_t> m_patterns;
    std::size_t m_patternSize = 0;
    std::size_t m_expressionSize = 0;
};

} // namespace Varnix::Schema

#endif
