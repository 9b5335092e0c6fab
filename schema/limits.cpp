#include "schema/limits.h"

#include "dbfile/sourceValue.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

namespace Varnix::Schema {

namespace {

using DbFile::LineError;
using DbFile::Token;

constexpr char separator = '|';

/** The parts of a word between separators, each a word with its own column. */
std::vector<Token> partsOf(const Token& word)
{
    std::vector<Token> parts;
    for (std::size_t begin = 0; begin <= word.text.size();) {
        const std::size_t end = std::min(word.text.find(separator, begin), word.text.size());
        if (begin == end)
            throw LineError(word.column + begin, "an alternative is missing");
        parts.push_back({Token::Kind::WORD, word.text.substr(begin, end - begin),
                         word.column + begin, word.column + end});
        begin = end + 1;
    }
    return parts;
}

std::int64_t numberOf(const DbFile::Type& type, const Token& word)
{
    return DbFile::elementAt(DbFile::readData({type.number, true}, {&word, 1}), type, 0);
}

} // namespace

bool Limits::take(const DbFile::Type& type, const Token& word)
{
    if (word.kind != Token::Kind::WORD)
        return false;
    if (type.number != DbFile::charType) {
        if (word.text.find_first_of("-0123456789") != 0)
            return false;
        takeNumbers(type, word);
    } else if (word.text.front() == '/') {
        takeExpression(word);
    } else if (word.text.find(separator) != std::string::npos) {
        takeAlternatives(word);
    } else {
        return false;
    }
    m_text.append(m_text.empty() ? "" : " ").append(word.text);
    return true;
}

void Limits::takeNumbers(const DbFile::Type& type, const Token& word)
{
    constexpr std::string_view dots = "..";
    for (const Token& part : partsOf(word)) {
        const std::size_t end = part.text.find(dots);
        if (end == std::string::npos) {
            const std::int64_t number = numberOf(type, part);
            m_ranges.push_back({number, number});
            continue;
        }
        const std::size_t second = end + dots.size();
        const Token first{part.kind, part.text.substr(0, end), part.column, part.column + end};
        const Token last{part.kind, part.text.substr(second), part.column + second, part.end};
        const Range range{numberOf(type, first), numberOf(type, last)};
        if (range.min > range.max)
            throw LineError(part.column,
                            "the range is empty: " + first.text + " is above " + last.text);
        m_ranges.push_back(range);
    }
}

void Limits::takeAlternatives(const Token& word)
{
    if (m_expression)
        throw LineError(word.column, "there are alternatives or an expression, not both");
    for (const Token& part : partsOf(word))
        m_alternatives.push_back(part.text);
}

void Limits::takeExpression(const Token& word)
{
    if (m_expression || !m_alternatives.empty())
        throw LineError(word.column, "there are alternatives or one expression, not both");
    if (word.text.size() < 2 || word.text.back() != '/')
        throw LineError(word.column, "an expression ends with a slash and holds no blank, double "
                                     "quote or number sign");
    try {
        m_expression.emplace(word.text.substr(1, word.text.size() - 2));
    } catch (const std::invalid_argument& error) {
        throw LineError(word.column, error.what());
    }
}

std::optional<Refusal> Limits::refusal(std::int64_t number) const
{
    if (m_ranges.empty() || std::any_of(m_ranges.begin(), m_ranges.end(),
                                        [=](const Range& range) { return range.holds(number); }))
        return std::nullopt;
    const std::string text = std::to_string(number);
    const auto byBounds = [](const Range& a, const Range& b) { return a.min < b.min; };
    const auto highest =
        std::max_element(m_ranges.begin(), m_ranges.end(),
                         [](const Range& a, const Range& b) { return a.max < b.max; });
    const auto lowest = std::min_element(m_ranges.begin(), m_ranges.end(), byBounds);
    if (number > highest->max)
        return Refusal{Check::RANGE, text + " is above " + std::to_string(highest->max)};
    if (number < lowest->min)
        return Refusal{Check::RANGE, text + " is below " + std::to_string(lowest->min)};
    return Refusal{Check::RANGE, text + " is not in " + m_text};
}

std::optional<Refusal> Limits::refusal(std::string_view text) const
{
    if (!m_alternatives.empty() &&
        std::find(m_alternatives.begin(), m_alternatives.end(), text) == m_alternatives.end())
        return Refusal{Check::ALTERNATIVE, DbFile::quoted(text.substr(0, Expression::maxSize)) +
                                               " is none of " + m_text};
    if (m_expression && text.size() > Expression::maxTextSize)
        return Refusal{Check::EXPRESSION, "a text of " + std::to_string(text.size()) +
                                              " bytes is too long to match an expression; the "
                                              "most is " +
                                              std::to_string(Expression::maxTextSize)};
    if (m_expression && !m_expression->matches(text))
        return Refusal{Check::EXPRESSION, DbFile::quoted(text.substr(0, Expression::maxSize)) +
                                              " does not match " + m_text};
    return std::nullopt;
}

bool Limits::excludes(const Limits& other) const
{
    if (empty() || other.empty())
        return false;
    if (!m_ranges.empty())
        return std::none_of(m_ranges.begin(), m_ranges.end(), [&other](const Range& a) {
            return std::any_of(other.m_ranges.begin(), other.m_ranges.end(),
                               [&a](const Range& b) { return a.min <= b.max && b.min <= a.max; });
        });
    const auto refusesAll = [](const Limits& limits, const std::vector<std::string>& texts) {
        return !texts.empty() &&
               std::all_of(texts.begin(), texts.end(), [&limits](const std::string& text) {
                   return limits.refusal(std::string_view(text)).has_value();
               });
    };
    return refusesAll(other, m_alternatives) || refusesAll(*this, other.m_alternatives);
}

} // namespace Varnix::Schema
