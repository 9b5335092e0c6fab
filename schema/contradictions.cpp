#include "schema/contradictions.h"

#include "dbfile/sourceValue.h"
#include "schema/judge.h"

#include <string>
#include <utility>

namespace Varnix::Schema {

namespace {

/** Why no parameter fulfils both lines, where one key matches both; empty: one may. */
std::string contradiction(const Line& line, const Line& earlier)
{
    if (line.type != earlier.type)
        return std::string(line.type->name) + " contradicts " + std::string(earlier.type->name);
    if (line.count && earlier.count && line.count->excludes(*earlier.count))
        return line.typeText() + " contradicts " + earlier.typeText();
    if (line.limits.excludes(earlier.limits))
        return line.limits.text() + " contradicts " + earlier.limits.text();
    if (line.unit && earlier.unit && *line.unit != *earlier.unit)
        return "the unit " + *line.unit + " contradicts " + *earlier.unit;
    if (line.isRequired != earlier.isRequired && line.isDeprecated != earlier.isDeprecated &&
        line.isRequired == earlier.isDeprecated)
        return "what is required is not deprecated";
    // A pattern's default may have an exception.
    if (line.key.text() == earlier.key.text() && line.fallback && earlier.fallback &&
        line.fallback->data != earlier.fallback->data)
        return "the default " + DbFile::printValue(line.type->number, line.fallback->data) +
               " contradicts " + DbFile::printValue(line.type->number, earlier.fallback->data);
    return {};
}

class Contradictions
{
public:
    explicit Contradictions(const Schema& schema) : m_schema(schema) {}

    std::vector<SchemaFinding> run()
    {
        for (std::size_t i = 0; i < m_schema.lines().size(); ++i) {
            const Line& line = m_schema.lines()[i];
            if (line.isRequired && line.isDeprecated)
                report(line, line, "what is required is not deprecated");
            compareWithEarlier(line, i);
            checkDefault(line);
        }
        return std::move(m_findings);
    }

private:
    void report(const Line& line, const Line& other, const std::string& text)
    {
        m_findings.push_back(
            {Check::CONTRADICTION, {line.place, text + " (" + other.reference() + ")"}});
    }

    void compareWithEarlier(const Line& line, std::size_t index)
    {
        if (line.key.isLiteral()) {
            for (const Line* const other : m_schema.matching(line.key.literal()))
                if (other < &line)
                    compare(line, *other);
        } else {
            for (std::size_t i = 0; i < index; ++i)
                if (line.key.overlaps(m_schema.lines()[i].key))
                    compare(line, m_schema.lines()[i]);
        }
    }

    void compare(const Line& line, const Line& earlier)
    {
        if (const std::string text = contradiction(line, earlier); !text.empty())
            report(line, earlier, text);
    }

    /** A pattern's default is judged by the pattern alone: its exceptions may have others. */
    void checkDefault(const Line& line)
    {
        if (line.key.isLiteral())
            checkDefaultOf(line);
        else if (line.fallback)
            reportDefault(line.place, *line.fallback, "the default: ", judge(line, valueOf(line)));
    }

    /** The default of a line's one key, which may be that of a pattern. */
    void checkDefaultOf(const Line& line)
    {
        const std::string key = line.key.literal();
        const Line* const source = line.fallback ? &line : m_schema.defaultOf(key);
        if (source == nullptr || source->type != line.type)
            return;
        const auto findings = judge(m_schema, key, valueOf(*source));
        if (source == &line)
            reportDefault(line.place, *line.fallback, "the default: ", findings);
        else if (!source->key.isLiteral()) // that line reports its own
            reportDefault(line.place, {{}, line.place.column},
                          "the default (" + source->reference() + "): ", findings);
    }

    static DbFile::Value valueOf(const Line& line)
    {
        return {.type = line.type->number, .data = line.fallback->data};
    }

    void reportDefault(DbFile::SourcePlace place, const Default& given, const std::string& lead,
                       const std::vector<Finding>& findings)
    {
        place.column = given.column;
        for (const Finding& finding : findings)
            if (!isWarning(finding.check) && finding.check != Check::TYPE)
                m_findings.push_back({Check::DEFAULT, {place, lead + finding.text}});
    }

    const Schema& m_schema;
    std::vector<SchemaFinding> m_findings;
};

} // namespace

std::vector<SchemaFinding> contradictions(const Schema& schema)
{
    return Contradictions(schema).run();
}

} // namespace Varnix::Schema
