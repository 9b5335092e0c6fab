#ifndef VARNIX_SCHEMA_LIMITS_H
#define VARNIX_SCHEMA_LIMITS_H

#include "dbfile/sourceLine.h"
#include "dbfile/types.h"
#include "schema/checks.h"
#include "schema/expression.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Varnix::Schema {

/** Which check refused a value, and why. */
struct Refusal
{
    Check check;
    std::string text;
};

/** The values that a parameter may have; none given: any. */
class Limits
{
public:
    /** Takes a word where it is a limit of the type, else false. Throws DbFile::LineError. */
    bool take(const DbFile::Type& type, const DbFile::Token& word);

    bool empty() const noexcept { return m_text.empty(); }

    /** Of the expression with its repetitions written out; 0 without one. */
    std::size_t expressionSize() const noexcept
    {
        return m_expression ? m_expression->expandedSize() : 0;
    }

    /** As it was written. */
    const std::string& text() const noexcept { return m_text; }

    std::optional<Refusal> refusal(std::int64_t number) const;
    std::optional<Refusal> refusal(std::string_view text) const;

    /** Whether no value is within both; of two expressions that is not known. */
    bool excludes(const Limits& other) const;

private:
    struct Range
    {
        std::int64_t min;
        std::int64_t max;

        bool holds(std::int64_t number) const noexcept { return number >= min && number <= max; }
    };

    void takeNumbers(const DbFile::Type& type, const DbFile::Token& word);
    void takeAlternatives(const DbFile::Token& word);
    void takeExpression(const DbFile::Token& word);

    std::vector<Range> m_ranges;
    std::vector<std::string> m_alternatives;
    std::optional<Expression> m_expression;
    std::string m_text;
};

} // namespace Varnix::Schema

#endif
