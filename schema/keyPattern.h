#ifndef VARNIX_SCHEMA_KEYPATTERN_H
#define VARNIX_SCHEMA_KEYPATTERN_H

#include <bitset>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Varnix::Schema {

/**
 * A key, or a pattern of fnmatch() with FNM_PATHNAME: no wildcard matches a slash.
 */
class KeyPattern
{
public:
    static constexpr std::size_t maxSize = 255;
    /** No pattern matches a longer key, so that a comparison takes bounded time. */
    static constexpr std::size_t maxKeySize = 4096;

    /** What one place of a pattern matches. */
    struct Element
    {
        /** Any number of the characters. */
        bool isStar = false;
        std::bitset<256> characters;

        bool isWildcard() const noexcept { return isStar || characters.count() != 1; }
        /** The one character of an element that is no wildcard. */
        char character() const noexcept;
    };

    /** Throws std::invalid_argument, which says why. */
    explicit KeyPattern(std::string text);

    const std::string& text() const noexcept { return m_text; }
    const std::vector<Element>& elements() const noexcept { return m_elements; }

    /** Whether it stands for one key only, which is literal(). */
    bool isLiteral() const noexcept { return m_isLiteral; }
    const std::string& literal() const noexcept { return m_literal; }

    bool matches(const std::string& key) const;

    /** Whether there is a key that both match. */
    bool overlaps(const KeyPattern& other) const;

private:
    void readBracket(std::size_t& position);

    std::string m_text;
    std::vector<Element> m_elements;
    bool m_isLiteral = true;
    std::string m_literal;
};

} // namespace Varnix::Schema

#endif
