#ifndef VARNIX_SCHEMA_PARSER_H
#define VARNIX_SCHEMA_PARSER_H

#include "dbfile/sourceText.h"
#include "schema/schema.h"

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Varnix::Schema {

/**
 * Reads schemas into one; later ones add lines. A line that is wrong is reported and the next one
 * is read; see DbFile::readText().
 */
class Parser
{
public:
    /** Adds what the text says; `file` names it in errors. */
    void parse(const std::string& file, std::string_view text);

    const std::vector<DbFile::SourceFinding>& errors() const noexcept { return m_errors; }

    /** What was read; worth something only without errors. */
    const Schema& schema() const noexcept { return m_schema; }

private:
    void readLine(const DbFile::SourcePlace& place, std::span<const DbFile::Token> tokens);

    Schema m_schema;
    std::vector<DbFile::SourceFinding> m_errors;
    /** The keys of the schema being read, and their lines. */
    std::map<std::string, std::size_t, std::less<>> m_keys;
};

} // namespace Varnix::Schema

#endif
