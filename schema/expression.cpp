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

/**
 * How many characters an expression has where its repetitions are written out. Throws
 * std::invalid_argument for what takes time without bound to compile.
 */
class ExpandedSize
{
public:
    explicit ExpandedSize(std::string_view text) noexcept : m_text(text) {}

    std::size_t count()
    {
        while (m_position < m_text.size())
            read(m_text[m_position++]);
        // What is before a group that nothing closes is compiled too, until the group is refused.
        return std::accumulate(
            m_groups.begin(), m_groups.end(), std::size_t{0},
            [](std::size_t sum, const Group& group) { return limited(sum + group.size); });
    }

private:
    /** What a repetition applies to. */
    struct Item
    {
        std::size_t size = 0;
        bool mayBeEmpty = true;
    };

    /** The whole expression, or what is in brackets, as far as it is read. */
    struct Group
    {
        std::size_t size = 0;
        Item last;
        bool mayBeEmpty = true;     ///< the alternative that is being read, without its last item
        bool anyMayBeEmpty = false; ///< of the alternatives before it

        void add(const Item& item) noexcept
        {
            mayBeEmpty = mayBeEmpty && last.mayBeEmpty;
            last = item;
            size = limited(size + item.size);
        }

        void endAlternative() noexcept
        {
            anyMayBeEmpty = anyMayBeEmpty || (mayBeEmpty && last.mayBeEmpty);
            mayBeEmpty = true;
            last = Item();
            size = limited(size + 1);
        }

        void grow(std::size_t more) noexcept
        {
            size = limited(size + more);
            last.size = limited(last.size + more);
        }
    };

    void read(char c)
    {
        Group& group = m_groups.back();
        if (c == '(') {
            m_groups.emplace_back();
        } else if (c == ')' && m_groups.size() > 1) {
            closeGroup();
        } else if (c == '|') {
            group.endAlternative();
        } else if (c == '{') {
            repeatCounted(group);
        } else if (c == '+') { // as xx*
            refuseEmpty(group.last);
            group.grow(group.last.size);
        } else if (c == '*' || c == '?') { // what comes next repeats what is before it too
            if (c == '*')
                refuseEmpty(group.last);
            group.grow(1);
            group.last.mayBeEmpty = true;
        } else {
            group.add({1, skipRest(c)});
        }
    }

    void closeGroup()
    {
        Group closed = m_groups.back();
        closed.endAlternative();
        m_groups.pop_back();
        m_groups.back().add({closed.size, closed.anyMayBeEmpty});
    }

    /** The ways through a repetition of nothing are many, and regcomp() goes them all. */
    static void refuseEmpty(const Item& item)
    {
        if (item.size > 0 && item.mayBeEmpty)
            throw std::invalid_argument("the expression repeats what may be empty with *, + or "
                                        "{n,}");
    }

    void repeatCounted(Group& group)
    {
        const std::string_view rest = m_text.substr(m_position);
        const bool mayBeNone = rest.starts_with('0') || rest.starts_with(',');
        bool isOpen = false;
        const std::size_t most = repetitions(isOpen);
        if (isOpen)
            refuseEmpty(group.last);
        group.grow(limited(group.last.size * most));
        group.last.mayBeEmpty = group.last.mayBeEmpty || mayBeNone;
    }

    static std::size_t limited(std::size_t size) noexcept
    {
        return std::min(size, Expression::maxExpandedSize + 1);
    }

    /** The largest number between braces; one more where it has no upper one, as in x{2,} for xxx*.
     */
    std::size_t repetitions(bool& isOpen) noexcept
    {
        std::size_t most = 1;
        const char* const end = m_text.data() + m_text.size();
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

    /** Returns whether what begins with the character stands for a place and no character. */
    bool skipRest(char first)
    {
        if (first == '\\') {
            const std::string_view rest = m_text.substr(std::min(m_position, m_text.size()));
            if (!rest.empty() && rest.front() >= '1' && rest.front() <= '9')
                throw std::invalid_argument("an expression has no back-reference");
            ++m_position;
            return !rest.empty() && std::string_view("bB<>`'").find(rest.front()) != rest.npos;
        }
        if (first == '[')
            skipBracket();
        return first == '^' || first == '$';
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
    std::vector<Group> m_groups = std::vector<Group>(1);
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
