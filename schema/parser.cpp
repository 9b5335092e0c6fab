#include "schema/parser.h"

#include "dbfile/format.h"
#include "dbfile/sourceValue.h"
#include "nearest.h"
#include "schema/words.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <utility>

namespace Varnix::Schema {

namespace {

using DbFile::LineError;
using DbFile::Token;
using Tokens = std::span<const Token>;

template <typename Words>
LineError unknown(const Token& token, std::string_view what, const Words& words)
{
    const std::string_view word = std::string_view(token.text).substr(0, KeyPattern::maxSize);
    return {token.column, "unknown " + std::string(what) + " " + DbFile::quoted(word) +
                              "; did you mean \"" + std::string(Nearest::candidate(word, words)) +
                              "\"?"};
}

KeyPattern keyOf(const Token& token)
{
    try {
        return KeyPattern(token.kind == Token::Kind::WORD ? token.text : "");
    } catch (const std::invalid_argument& error) {
        throw LineError(token.column, error.what());
    }
}

const DbFile::Type& typeNamed(const Token& token, std::string_view name)
{
    if (const DbFile::Type* const type = DbFile::findType(name))
        return *type;
    std::vector<std::string_view> names;
    names.reserve(DbFile::namedTypes.size());
    for (const DbFile::Type& type : DbFile::namedTypes)
        names.push_back(type.name);
    throw unknown(token, "type", names);
}

/** The number at the beginning of `text`, which is cut off. */
std::size_t cutNumber(const Token& token, std::string_view& text, std::size_t most)
{
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc::result_out_of_range || number > most)
        throw LineError(token.column, "a value has at most " + std::to_string(most) + " elements");
    if (error != std::errc())
        throw LineError(token.column, "the number of elements is written [N] or [MIN..MAX]");
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

/** What is between the brackets. */
Count countOf(const Token& token, const DbFile::Type& type, std::string_view text)
{
    constexpr std::string_view dots = "..";
    const std::size_t most = DbFile::Format::maxDataLength / type.elementSize;
    Count count;
    count.min = cutNumber(token, text, most);
    count.max = count.min;
    if (text.starts_with(dots)) {
        text.remove_prefix(dots.size());
        count.max = cutNumber(token, text, most);
    }
    if (text != "]")
        throw LineError(token.column, "the number of elements is written [N] or [MIN..MAX]");
    if (count.min > count.max)
        throw LineError(token.column, "no number is from " + std::to_string(count.min) + " to " +
                                          std::to_string(count.max));
    return count;
}

/** Reads what follows the type and its limits, in any order. */
class Properties
{
public:
    Properties(Line& line, Tokens tokens) : m_line(line), m_tokens(tokens) {}

    void read()
    {
        while (!m_tokens.empty())
            readOne(next());
    }

private:
    const Token& next()
    {
        const Token& token = m_tokens.front();
        m_tokens = m_tokens.subspan(1);
        return token;
    }

    /** The token after a word that needs one. */
    const Token& argumentOf(const Token& word, Token::Kind kind, std::string_view what)
    {
        if (m_tokens.empty() || m_tokens.front().kind != kind)
            throw LineError(word.end, std::string(what) + " is missing");
        return next();
    }

    void readOne(const Token& token)
    {
        if (token.kind == Token::Kind::TEXT) {
            refuseSecond(token, m_line.description.has_value(), "the description");
            m_line.description = token.text;
            while (!m_tokens.empty() && m_tokens.front().kind == Token::Kind::TEXT &&
                   m_tokens.front().isContinuation)
                *m_line.description += next().text;
        } else if (token.text == unitWord) {
            refuseSecond(token, m_line.unit.has_value(), unitWord);
            m_line.unit = argumentOf(token, Token::Kind::WORD, "the unit").text;
        } else if (token.text == defaultWord) {
            refuseSecond(token, m_line.fallback.has_value(), defaultWord);
            readDefault(token);
        } else if (token.text == requiredWord) {
            refuseSecond(token, std::exchange(m_line.isRequired, true), requiredWord);
        } else if (token.text == deprecatedWord) {
            refuseSecond(token, std::exchange(m_line.isDeprecated, true), deprecatedWord);
        } else {
            throw unknown(token, "word", propertyWords);
        }
    }

    void readDefault(const Token& word)
    {
        if (m_tokens.empty())
            throw LineError(word.end, "the default is missing");
        const std::size_t column = m_tokens.front().column;
        const DbFile::SourceType type{m_line.type->number, true};
        if (m_line.type->number == DbFile::charType) {
            Token text = next();
            text.kind = Token::Kind::TEXT; // a word needs no quotes here
            m_line.fallback = {DbFile::readData(type, {&text, 1}), column};
            return;
        }
        const auto isNumber = [](const Token& token) {
            return token.kind == Token::Kind::WORD && token.text.find_first_of("-0123456789") == 0;
        };
        const auto end = std::find_if_not(m_tokens.begin(), m_tokens.end(), isNumber);
        // One token at least, so that what is no number is named.
        const std::size_t size =
            std::max<std::size_t>(1, static_cast<std::size_t>(end - m_tokens.begin()));
        m_line.fallback = {DbFile::readData(type, m_tokens.first(size)), column};
        m_tokens = m_tokens.subspan(size);
    }

    static void refuseSecond(const Token& token, bool isSecond, std::string_view what)
    {
        if (isSecond)
            throw LineError(token.column, std::string(what) + " is given twice");
    }

    Line& m_line;
    Tokens m_tokens;
};

} // namespace

void Parser::parse(const std::string& file, std::string_view text)
{
    m_keys.clear();
    DbFile::readText(file, text, m_errors,
                     [&](std::size_t number, const std::vector<Token>& tokens) {
                         readLine({file, number, tokens.front().column}, tokens);
                     });
}

void Parser::readLine(const DbFile::SourcePlace& place, Tokens tokens)
{
    const Token& first = tokens.front();
    KeyPattern key = keyOf(first);
    if (tokens.size() < 2)
        throw LineError(first.end, "the type is missing");
    const Token& typeWord = tokens[1];
    const std::string_view typeText = typeWord.text;
    const std::size_t bracket = std::min(typeText.find('['), typeText.size());
    const DbFile::Type& type = typeNamed(typeWord, typeText.substr(0, bracket));
    Line line{.place = place, .key = std::move(key), .type = &type};
    if (bracket < typeText.size())
        line.count = countOf(typeWord, type, typeText.substr(bracket + 1));

    Tokens rest = tokens.subspan(2);
    while (!rest.empty() && line.limits.take(type, rest.front()))
        rest = rest.subspan(1);
    Properties(line, rest).read();

    const auto [given, isNew] = m_keys.try_emplace(line.key.text(), place.line);
    if (!isNew)
        throw LineError(first.column, line.key.text() + " is given twice; first in line " +
                                          std::to_string(given->second));
    if (const std::string full = m_schema.whatIsFullFor(line); !full.empty())
        throw LineError(first.column, full);
    m_schema.add(std::move(line));
}

} // namespace Varnix::Schema
