#include "schema/expression.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <new>
#include <numeric>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Varnix::Schema {

namespace {

/** How many characters an expression has where its repetitions are written out. */
class ExpandedSize
{
public:
    explicit ExpandedSize(std::string_view text) noexcept : m_text(text) {}

    std::size_t count()
    {
        std::vector<std::size_t> outer;
        std::size_t last = 0;
        std::size_t sum = 0;
        while (m_position < m_text.size()) {
            const char c = m_text[m_position++];
            if (c == '(') {
                outer.push_back(std::exchange(sum, 0));
            } else if (c == ')' && !outer.empty()) {
                last = std::max<std::size_t>(sum, 1);
                sum = outer.back() + last;
                outer.pop_back();
            } else if (c == '{') {
                const std::size_t repeated = limited(last * repetitions());
                sum = limited(sum + repeated);
                last = repeated;
            } else if (c == '+') { // as xx*
                sum = limited(sum + last);
                last = limited(2 * last);
            } else if (c == '*' || c == '?') { // what comes next repeats what is before it too
                sum = limited(sum + 1);
                last = limited(last + 1);
            } else {
                skipRest(c);
                last = 1;
                ++sum;
            }
        }
        // What is before a group that nothing closes is compiled too, until the group is refused.
        return std::accumulate(outer.begin(), outer.end(), sum);
    }

private:
    static std::size_t limited(std::size_t size) noexcept
    {
        return std::min(size, Expression::maxExpandedSize + 1);
    }

    /** The largest number between braces; one more where it has no upper one, as in x{2,} for xxx*.
     */
    std::size_t repetitions() noexcept
    {
        std::size_t most = 1;
        const char* const end = m_text.data() + m_text.size();
        bool isOpen = false;
        for (; m_position < m_text.size() && m_text[m_position] != '}'; ++m_position) {
            isOpen = m_text[m_position] == ',';
            std::size_t number = 0;
            if (std::from_chars(m_text.data() + m_position, end, number).ec ==
                std::errc::result_out_of_range)
                number = Expression::maxExpandedSize + 1;
            most = std::max(most, limited(number));
        }
        ++m_position;
        return limited(most + (isOpen ? 1 : 0));
    }

    void skipRest(char first)
    {
        if (first == '\\') {
            if (m_position < m_text.size() && m_text[m_position] >= '1' &&
                m_text[m_position] <= '9')
                throw std::invalid_argument("an expression has no back-reference");
            ++m_position;
        } else if (first == '[') {
            skipBracket();
        }
    }

    void skipBracket() noexcept
    {
        if (m_text.substr(m_position).starts_with('^'))
            ++m_position;
        if (m_text.substr(m_position).starts_with(']'))
            ++m_position;
        while (m_position < m_text.size() && m_text[m_position] != ']') {
            const std::string_view rest = m_text.substr(m_position);
            std::size_t size = 1;
            for (const std::string_view name : {"[::]", "[..]", "[==]"})
                if (rest.starts_with(name.substr(0, 2))) {
                    const std::size_t end = rest.find(name.substr(2), 2);
                    size = end == std::string_view::npos ? rest.size() : end + 2;
                }
            m_position += size;
        }
        ++m_position;
    }

    std::string_view m_text;
    std::size_t m_position = 0;
};

std::shared_ptr<const regex_t> compiled(const std::string& text)
{
    auto result = std::make_unique<regex_t>();
    const int error = ::regcomp(result.get(), text.c_str(), REG_EXTENDED);
    if (error == REG_ESPACE)
        throw std::bad_alloc();
    if (error != 0) {
        std::array<char, 128> reason{};
        ::regerror(error, result.get(), reason.data(), reason.size());
        throw std::invalid_argument(std::string("not an expression: ") + reason.data());
    }
    return {result.release(), [](regex_t* expression) {
                ::regfree(expression);
                const std::unique_ptr<regex_t> owner(expression);
            }};
}

} // namespace

Expression::Expression(std::string text) : m_text(std::move(text))
{
    if (m_text.empty())
        throw std::invalid_argument("the expression is empty");
    if (m_text.size() > maxSize)
        throw std::invalid_argument("an expression has at most " + std::to_string(maxSize) +
                                    " bytes");
    m_expandedSize = ExpandedSize(m_text).count();
    if (m_expandedSize > maxExpandedSize)
        throw std::invalid_argument("the expression repeats too much: written out it has more "
                                    "than " +
                                    std::to_string(maxExpandedSize) + " characters");
    m_compiled = compiled(m_text);
}

bool Expression::matches(std::string_view text) const
{
    if (text.size() > maxTextSize)
        return false;
    // The leftmost match is the longest from there, so a match of the whole text is found.
    regmatch_t match{.rm_so = 0, .rm_eo = static_cast<regoff_t>(text.size())};
    const char* const begin = text.empty() ? "" : text.data();
    const int error = ::regexec(m_compiled.get(), begin, 1, &match, REG_STARTEND);
    if (error == REG_ESPACE)
        throw std::bad_alloc();
    return error == 0 && match.rm_so == 0 && match.rm_eo == static_cast<regoff_t>(text.size());
}

} // namespace Varnix::Schema
