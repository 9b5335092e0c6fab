#include "dbfile/logicalLine.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Varnix::DbFile {

namespace {

constexpr const char* continuationMark = "\\";

bool isContinued(const std::vector<Token>& tokens)
{
    return !tokens.empty() && tokens.back().kind == Token::Kind::WORD &&
           tokens.back().text == continuationMark;
}

} // namespace

std::string_view cutLine(std::string_view& text) noexcept
{
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
}

std::vector<Token> LogicalLine::read(std::string_view& text)
{
    std::vector<Token> tokens;
    while (readOne(text, tokens))
        continue;
    return tokens;
}

/** Whether another line follows. */
bool LogicalLine::readOne(std::string_view& text, std::vector<Token>& tokens)
{
    const std::string_view line = cutLine(text);
    const std::size_t start = m_columns;
    m_starts.push_back(start);
    m_columns += line.size();
    try {
        std::vector<Token> read = readLine(line);
        const bool goesOn = isContinued(read);
        if (goesOn && text.empty())
            throw LineError(read.back().column, "no line follows that goes on with this one");
        if (goesOn)
            read.pop_back();
        for (Token& token : read) {
            token.column += start;
            token.end += start;
        }
        if (!read.empty())
            read.front().isContinuation = !tokens.empty();
        tokens.insert(tokens.end(), std::make_move_iterator(read.begin()),
                      std::make_move_iterator(read.end()));
        return goesOn;
    } catch (const LineError& error) {
        throw LineError(start + error.column(), error.what());
    }
}

LogicalLine::Place LogicalLine::placeOf(std::size_t column) const noexcept
{
    // The first line's start, 0, is before every column.
    const auto start = std::prev(std::lower_bound(m_starts.begin(), m_starts.end(), column));
    return {static_cast<std::size_t>(start - m_starts.begin()), column - *start};
}

} // namespace Varnix::DbFile
