#ifndef VARNIX_SCHEMA_EXPRESSION_H
#define VARNIX_SCHEMA_EXPRESSION_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include <regex.h>

namespace Varnix::Schema {

/**
 * A POSIX extended regular expression that a whole text must match.
 *
 * Expressions may come from anywhere, so that what they cost is bounded: their size, also with
 * repetitions written out, and the size of the texts that they judge. There are no
 * back-references.
 */
class Expression
{
public:
    static constexpr std::size_t maxSize = 256;
    static constexpr std::size_t maxExpandedSize = 1000;
    static constexpr std::size_t maxTextSize = 4096;

    /** Throws std::invalid_argument, which says why. */
    explicit Expression(std::string text);

    const std::string& text() const noexcept { return m_text; }
    /** In characters, with repetitions written out. */
    std::size_t expandedSize() const noexcept { return m_expandedSize; }

    /** A text longer than maxTextSize does not match. */
    bool matches(std::string_view text) const;

private:
    std::string m_text;
    std::size_t m_expandedSize = 0;
    std::shared_ptr<const regex_t> m_compiled;
};

} // namespace Varnix::Schema

#endif
