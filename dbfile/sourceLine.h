#ifndef VARNIX_DBFILE_SOURCELINE_H
#define VARNIX_DBFILE_SOURCELINE_H

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Varnix::DbFile {

/** A piece of a line: a word, or what is between double quotes with its escapes resolved. */
struct Token
{
    enum class Kind
    {
        WORD,
        TEXT
    };

    Kind kind = Kind::WORD;
    std::string text;
    /** Where it begins, and where the next byte is; counted in bytes, from 1. */
    std::size_t column = 0;
    std::size_t end = 0;
    /** Whether it is the first one of a line that goes on with another. */
    bool isContinuation = false;
};

/** The word that begins a directive; no other word holds a number sign. */
inline constexpr std::string_view directiveMark = "#!";

/** A line that cannot be understood, and where in it. */
class LineError : public std::runtime_error
{
public:
    LineError(std::size_t column, const std::string& text)
        : std::runtime_error(text), m_column(column)
    {
    }

    std::size_t column() const noexcept { return m_column; }

private:
    std::size_t m_column;
};

/** The tokens of a line without its line end; a comment gives none. Throws LineError. */
std::vector<Token> readLine(std::string_view line);

/** `bytes` in double quotes, so that readLine() gives them back: printable ASCII throughout. */
std::string quoted(std::string_view bytes);

} // namespace Varnix::DbFile

#endif
