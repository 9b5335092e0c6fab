#include "schema/keyPattern.h"

#include "dbfile/database.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include <fnmatch.h>

namespace Varnix::Schema {

namespace {

std::bitset<256> anyCharacter()
{
    return std::bitset<256>().set().reset('/').reset('\0');
}

std::bitset<256> onlyCharacter(char c)
{
    return std::bitset<256>().set(static_cast<unsigned char>(c));
}

} // namespace

char KeyPattern::Element::character() const noexcept
{
    return static_cast<char>(characters._Find_first());
}

KeyPattern::KeyPattern(std::string text) : m_text(std::move(text))
{
    if (!DbFile::isPlainKey(m_text))
        throw std::invalid_argument("a key is \"/\" and at least one character more, not quoted");
    if (m_text.size() > maxSize)
        throw std::invalid_argument("a schema's key has at most " + std::to_string(maxSize) +
                                    " bytes");
    for (std::size_t i = 0; i < m_text.size(); ++i) {
        const char c = m_text[i];
        if (c == '*')
            m_elements.push_back({true, anyCharacter()});
        else if (c == '?')
            m_elements.push_back({false, anyCharacter()});
        else if (c == '[')
            readBracket(i);
        else if (c != '\\')
            m_elements.push_back({false, onlyCharacter(c)});
        else if (++i < m_text.size() && m_text[i] != '/') // fnmatch() takes "*\/" for no slash
            m_elements.push_back({false, onlyCharacter(m_text[i])});
        else
            throw std::invalid_argument(
                "a key's backslash stands before a character other than \"/\"");
    }
    m_isLiteral = m_text.find_first_of("*?[") == std::string::npos ||
                  std::none_of(m_elements.begin(), m_elements.end(),
                               [](const Element& element) { return element.isWildcard(); });
    if (m_isLiteral)
        for (const Element& element : m_elements)
            m_literal.push_back(element.character());
}

void KeyPattern::readBracket(std::size_t& position)
{
    const std::size_t mark = m_text.find_first_not_of("!^", position + 1);
    const std::size_t first = mark <= position + 2 ? mark : position + 2;
    const std::size_t end = first == std::string::npos ? first : m_text.find(']', first + 1);
    if (end == std::string::npos)
        throw std::invalid_argument("a key's bracket is not closed");
    const std::string bracket = m_text.substr(position, end + 1 - position);
    if (bracket.find_first_of("/[\\", 1) != std::string::npos)
        throw std::invalid_argument(R"(a key's bracket holds no "/", no "[" and no backslash)");
    Element element;
    for (unsigned c = 1; c < 256; ++c) {
        const std::array<char, 2> text{static_cast<char>(c), '\0'};
        element.characters.set(c, ::fnmatch(bracket.c_str(), text.data(), FNM_PATHNAME) == 0);
    }
    if (element.characters.none())
        throw std::invalid_argument("a key's bracket matches nothing");
    m_elements.push_back(element);
    position = end;
}

bool KeyPattern::matches(const std::string& key) const
{
    if (m_isLiteral)
        return key == m_literal;
    return key.size() <= maxKeySize && ::fnmatch(m_text.c_str(), key.c_str(), FNM_PATHNAME) == 0;
}

bool KeyPattern::overlaps(const KeyPattern& other) const
{
    const std::vector<Element>& a = m_elements;
    const std::vector<Element>& b = other.m_elements;
    // reached[j]: the elements of a before i and those of b before j match a common text.
    std::vector<char> reached(b.size() + 1);
    reached[0] = 1;
    for (std::size_t i = 0;; ++i) {
        std::vector<char> next(b.size() + 1);
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (reached[j] == 0)
                continue;
            if (j < b.size() && b[j].isStar)
                reached[j + 1] = 1;
            if (i < a.size() && a[i].isStar)
                next[j] = 1;
            if (i == a.size() || j == b.size() || (a[i].characters & b[j].characters).none())
                continue;
            std::vector<char>& row = a[i].isStar ? reached : next;
            row[b[j].isStar ? j : j + 1] = 1;
        }
        if (i == a.size())
            return reached.back() != 0;
        reached.swap(next);
    }
}

} // namespace Varnix::Schema
