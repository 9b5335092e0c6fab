#include "patternOracle.h"

#include <bitset>
#include <cstddef>
#include <vector>

namespace Varnix::Fuzz {

namespace {

using Characters = std::bitset<256>;

/** One step of a pattern: one of these characters, or any number of any. */
struct Step
{
    Characters characters{};
    bool isStar = false;
};

unsigned char code(char c) noexcept
{
    return static_cast<unsigned char>(c);
}

/** Turns a pattern into steps; `isKnown` is false once it meets what it does not know. */
class PatternReader
{
public:
    explicit PatternReader(std::string_view pattern) : m_rest(pattern) {}

    std::optional<std::vector<Step>> read()
    {
        std::vector<Step> steps;
        while (m_isKnown && !m_rest.empty())
            steps.push_back(readStep());
        return m_isKnown ? std::optional(steps) : std::nullopt;
    }

private:
    Step readStep()
    {
        const char c = take();
        if (c == '*')
            return {.isStar = true};
        if (c == '?')
            return {.characters = Characters().set()};
        if (c == '[')
            return {.characters = readBracket()};
        return {.characters = Characters().set(code(c == '\\' ? take() : c))};
    }

    Characters readBracket()
    {
        const bool isNegated = m_rest.starts_with('!') || m_rest.starts_with('^');
        if (isNegated)
            take();
        Characters characters;
        do {
            const unsigned char first = readMember();
            const bool isRange = m_rest.size() > 1 && m_rest[0] == '-' && m_rest[1] != ']';
            if (isRange)
                take();
            const unsigned char last = isRange ? readMember() : first;
            m_isKnown = m_isKnown && first <= last;
            for (unsigned int c = first; c <= last; ++c)
                characters.set(c);
        } while (m_isKnown && !m_rest.starts_with(']'));
        take();
        return isNegated ? ~characters : characters;
    }

    unsigned char readMember()
    {
        const char c = take();
        const bool isNamed = c == '[' && (m_rest.starts_with(':') || m_rest.starts_with('.') ||
                                          m_rest.starts_with('='));
        m_isKnown = m_isKnown && !isNamed;
        return code(c == '\\' ? take() : c);
    }

    char take()
    {
        if (m_rest.empty()) {
            m_isKnown = false;
            return '\0';
        }
        const char c = m_rest.front();
        m_rest.remove_prefix(1);
        return c;
    }

    std::string_view m_rest;
    bool m_isKnown = true;
};

} // namespace

std::optional<bool> patternMatches(std::string_view pattern, std::string_view text)
{
    const auto steps = PatternReader(pattern).read();
    if (!steps)
        return std::nullopt;
    // reached[i]: the steps so far match the first i characters.
    std::vector<bool> reached(text.size() + 1);
    reached[0] = true;
    for (const Step& step : *steps) {
        std::vector<bool> next(text.size() + 1);
        for (std::size_t i = 0; i <= text.size(); ++i)
            if (step.isStar)
                next[i] = reached[i] || (i > 0 && next[i - 1]);
            else
                next[i] = i > 0 && reached[i - 1] && step.characters[code(text[i - 1])];
        reached = std::move(next);
    }
    return reached[text.size()];
}

} // namespace Varnix::Fuzz
