#include "dbfile/sourceLine.h"

#include "dbfile/finding.h"

#include <charconv>

namespace Varnix::DbFile {

namespace {

constexpr char quote = '"';
constexpr char comment = '#';

bool isBlank(char c) noexcept
{
    return c == ' ' || c == '\t';
}

bool isPrintable(char c) noexcept
{
    return c >= ' ' && c <= '~';
}

class LineReader
{
public:
    explicit LineReader(std::string_view line) : m_line(line) {}

    std::vector<Token> read()
    {
        std::vector<Token> tokens;
        skipBlanks();
        if (m_line.substr(m_position).starts_with(directiveMark))
            tokens.push_back(readMark());
        for (skipBlanks(); !atEnd(); skipBlanks()) {
            tokens.push_back(peek() == quote ? readText() : readWord());
            tokens.back().end = column();
        }
        return tokens;
    }

private:
    std::size_t column() const noexcept { return m_position + 1; }
    char peek() const noexcept { return m_line[m_position]; }
    bool atLineEnd() const noexcept { return m_position == m_line.size(); }
    bool atEnd() const noexcept { return atLineEnd() || peek() == comment; }

    void skipBlanks() noexcept
    {
        while (!atLineEnd() && isBlank(peek()))
            ++m_position;
    }

    Token readMark()
    {
        const std::size_t begin = column();
        m_position += directiveMark.size();
        return {Token::Kind::WORD, std::string(directiveMark), begin, column()};
    }

    Token readWord()
    {
        Token token{Token::Kind::WORD, {}, column(), 0};
        for (; !atEnd() && !isBlank(peek()); ++m_position) {
            if (peek() == quote)
                throw LineError(column(), "a blank is missing before the double quote");
            if (!isPrintable(peek()))
                throw LineError(column(), "byte " + hexNumber(static_cast<unsigned char>(peek())) +
                                              " is allowed only between double quotes");
            token.text.push_back(peek());
        }
        return token;
    }

    Token readText()
    {
        Token token{Token::Kind::TEXT, {}, column(), 0};
        ++m_position;
        while (!atLineEnd() && peek() != quote) {
            if (peek() == '\t')
                throw LineError(column(), "a tab inside double quotes is written \\t");
            token.text.push_back(peek() == '\\' ? readEscape() : m_line[m_position++]);
        }
        if (atLineEnd())
            throw LineError(token.column, "the double quote is not closed");
        ++m_position;
        if (!atEnd() && !isBlank(peek()))
            throw LineError(column(), "a blank is missing after the double quote");
        return token;
    }

    char readEscape()
    {
        const std::string_view escape = m_line.substr(m_position, 2);
        const std::string_view digits = m_line.substr(m_position).substr(escape.size(), 2);
        m_position += escape.size();
        if (escape == "\\\"" || escape == "\\\\")
            return escape.back();
        if (escape == "\\n")
            return '\n';
        if (escape == "\\t")
            return '\t';
        unsigned value = 0;
        const char* const end = digits.data() + digits.size();
        if (escape == "\\x" && digits.size() == 2 &&
            std::from_chars(digits.data(), end, value, 16).ptr == end) {
            m_position += digits.size();
            return static_cast<char>(value);
        }
        throw LineError(column() - escape.size(),
                        R"(unknown escape; there are \" \\ \n \t and \x with two hex digits)");
    }

    std::string_view m_line;
    std::size_t m_position = 0;
};

} // namespace

std::vector<Token> readLine(std::string_view line)
{
    return LineReader(line).read();
}

std::string quoted(std::string_view bytes)
{
    std::string text(1, quote);
    for (const char c : bytes)
        if (c == quote || c == '\\')
            text.append(1, '\\').append(1, c);
        else if (c == '\n')
            text.append("\\n");
        else if (c == '\t')
            text.append("\\t");
        else if (isPrintable(c))
            text.push_back(c);
        else
            text.append("\\x").append(hexBytes(std::string_view(&c, 1)));
    return text.append(1, quote);
}

} // namespace Varnix::DbFile
