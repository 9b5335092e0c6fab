#include "wordSplitter.h"

#include <optional>
#include <utility>

namespace Dbcsi {
namespace {

constexpr std::string_view blanks = " \t\r";

class Splitter
{
public:
    explicit Splitter(std::string_view line) : m_line(line) {}

    std::variant<Words, SplitError> split()
    {
        // A word is sent as a NUL-terminated string and could not carry one.
        if (const std::size_t nul = m_line.find('\0'); nul != std::string_view::npos)
            return SplitError{nul + 1, "NUL byte"};
        Words words;
        for (skipBlanks(); !atEnd() && !(words.empty() && peek() == '#'); skipBlanks()) {
            std::string word;
            if (auto error = takeWord(word))
                return std::move(*error);
            words.push_back(std::move(word));
        }
        return words;
    }

private:
    bool atEnd() const noexcept { return m_at == m_line.size(); }
    char peek() const noexcept { return m_line[m_at]; }
    bool atBlank() const noexcept { return blanks.find(peek()) != std::string_view::npos; }

    void skipBlanks()
    {
        while (!atEnd() && atBlank())
            ++m_at;
    }

    std::optional<SplitError> takeWord(std::string& word)
    {
        while (!atEnd() && !atBlank()) {
            const char c = peek();
            if (c == '\'' || c == '"') {
                if (auto error = takeQuoted(word, c))
                    return error;
            } else if (c == '\\') {
                if (++m_at == m_line.size())
                    return SplitError{m_at, "nothing follows the backslash"};
                word += m_line[m_at++];
            } else {
                word += c;
                ++m_at;
            }
        }
        return std::nullopt;
    }

    std::optional<SplitError> takeQuoted(std::string& word, char quote)
    {
        const std::size_t opening = m_at++;
        while (!atEnd() && peek() != quote) {
            if (quote == '"' && peek() == '\\' && protectsNext())
                ++m_at;
            word += m_line[m_at++];
        }
        if (atEnd())
            return SplitError{opening + 1, std::string("unterminated ") + quote};
        ++m_at;
        return std::nullopt;
    }

    bool protectsNext() const noexcept
    {
        return m_at + 1 < m_line.size() && (m_line[m_at + 1] == '"' || m_line[m_at + 1] == '\\');
    }

    std::string_view m_line;
    std::size_t m_at = 0;
};

/** As it stands where no quotes are needed, else in single quotes. */
std::string quoted(const std::string& word)
{
    constexpr std::string_view plain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_./:,=+%@";
    if (!word.empty() && word.find_first_not_of(plain) == std::string::npos)
        return word;
    std::string text = "'";
    for (const char c : word)
        if (c == '\'')
            text += R"('\'')";
        else
            text += c;
    return text + '\'';
}

} // namespace

std::string quoteWords(const Words& words)
{
    std::string line;
    for (const std::string& word : words)
        line += (line.empty() ? "" : " ") + quoted(word);
    return line;
}

std::variant<Words, SplitError> splitWords(std::string_view line)
{
    return Splitter(line).split();
}

} // namespace Dbcsi
