#ifndef VARNIX_DBFILE_LOGICALLINE_H
#define VARNIX_DBFILE_LOGICALLINE_H

#include "dbfile/sourceLine.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace Varnix::DbFile {

/**
 * A line of a text with those that continue it: one whose last word is a backslash goes on in the
 * next. Columns are counted through all of them; placeOf() says where they are.
 */
class LogicalLine
{
public:
    /** A column, counted from 1, and how many lines after the first it is in. */
    struct Place
    {
        std::size_t line;
        std::size_t column;
    };

    /** Cuts the line off the text. Throws LineError; the next line can then be cut off. */
    std::vector<Token> read(std::string_view& text);

    Place placeOf(std::size_t column) const noexcept;

    /** How many lines of the text it has. */
    std::size_t size() const noexcept { return m_starts.size(); }

private:
    bool readOne(std::string_view& text, std::vector<Token>& tokens);

    /** How many columns stand before each of its lines. */
    std::vector<std::size_t> m_starts;
    std::size_t m_columns = 0;
};

/** Cuts the first line off `text`; its line end is in neither. */
std::string_view cutLine(std::string_view& text) noexcept;

} // namespace Varnix::DbFile

#endif
