#include "schema/judge.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace Varnix::Schema {

namespace {

using Subject = Finding::Subject;

/** Collects what one line says against one value. */
class LineJudge
{
public:
    LineJudge(const Line& line, const DbFile::Value& value) : m_line(line), m_value(value) {}

    std::vector<Finding> run()
    {
        if (m_line.isDeprecated)
            report(Check::DEPRECATED, Subject::KEY, m_line.key.text() + " is deprecated");
        if (checkType()) {
            checkCount();
            checkElements();
        }
        return std::move(m_findings);
    }

private:
    void report(Check check, Subject subject, const std::string& text, std::size_t element = 0)
    {
        m_findings.push_back({check, subject, element, text + " (" + m_line.reference() + ")"});
    }

    bool checkType()
    {
        const std::string expected(m_line.type->name);
        const DbFile::Type* const type = DbFile::findType(m_value.type);
        if (type != m_line.type) {
            report(Check::TYPE, Subject::TYPE,
                   (type == nullptr ? "type " + std::to_string(m_value.type)
                                    : std::string(type->name)) +
                       " is not " + expected);
            return false;
        }
        if (!DbFile::isWhole(*type, m_value.data.size())) {
            report(Check::TYPE, Subject::LENGTH,
                   std::to_string(m_value.data.size()) + " bytes are no whole number of " +
                       expected + " elements");
            return false;
        }
        return true;
    }

    std::size_t count() const noexcept { return m_value.data.size() / m_line.type->elementSize; }

    void checkCount()
    {
        if (!m_line.count || m_line.count->holds(count()))
            return;
        const std::string unit = m_line.type->number == DbFile::charType ? "bytes" : "elements";
        report(Check::ELEMENTS, Subject::LENGTH,
               "the number of " + unit + " is " + std::to_string(count()) + ", not " +
                   describe(*m_line.count));
    }

    void checkElements()
    {
        if (m_line.type->number == DbFile::charType) {
            if (const auto refusal = m_line.limits.refusal(std::string_view(m_value.data)))
                report(refusal->check, Subject::ELEMENT, refusal->text);
            return;
        }
        std::size_t refused = 0;
        for (std::size_t i = 0; i < count() && !m_line.limits.empty(); ++i) {
            const auto refusal =
                m_line.limits.refusal(DbFile::elementAt(m_value.data, *m_line.type, i));
            if (refusal && ++refused <= maxElementFindings)
                report(refusal->check, Subject::ELEMENT, refusal->text, i);
        }
        if (refused > maxElementFindings)
            report(Check::RANGE, Subject::KEY,
                   std::to_string(refused - maxElementFindings) + " more elements are not in " +
                       m_line.limits.text());
    }

    const Line& m_line;
    const DbFile::Value& m_value;
    std::vector<Finding> m_findings;
};

} // namespace

std::vector<Finding> judge(const Line& line, const DbFile::Value& value)
{
    return LineJudge(line, value).run();
}

std::vector<Finding> judge(const Schema& schema, const std::string& key, const DbFile::Value& value,
                           Coverage coverage)
{
    std::vector<Finding> findings;
    const std::vector<const Line*> lines = schema.matching(key);
    for (const Line* const line : lines)
        for (Finding& finding : judge(*line, value))
            findings.push_back(std::move(finding));
    if (lines.empty() && coverage == Coverage::CLOSED)
        findings.push_back({Check::CLOSED, Subject::KEY, 0,
                            "no line of a schema describes " + DbFile::quoted(key)});
    return findings;
}

namespace {

bool isAnyMatched(const KeyPattern& pattern, const std::set<std::string>& keys)
{
    if (pattern.isLiteral())
        return keys.contains(pattern.literal());
    return std::any_of(keys.begin(), keys.end(),
                       [&pattern](const std::string& key) { return pattern.matches(key); });
}

} // namespace

std::vector<Finding> judgeAbsent(const Schema& schema, const std::set<std::string>& keys)
{
    std::vector<Finding> findings;
    for (const Line& line : schema.lines()) {
        if (!line.isRequired || isAnyMatched(line.key, keys))
            continue;
        findings.push_back(
            {Check::REQUIRED, Subject::KEY, 0,
             line.key.text() + " is required and absent (" + line.reference() + ")"});
    }
    return findings;
}

} // namespace Varnix::Schema
