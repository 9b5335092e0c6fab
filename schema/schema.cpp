#include "schema/schema.h"

#include "dbfile/shown.h"

#include <algorithm>
#include <utility>

namespace Varnix::Schema {

std::string describe(const Count& count)
{
    const std::string min = std::to_string(count.min);
    return count.min == count.max ? min : min + ".." + std::to_string(count.max);
}

std::string Line::typeText() const
{
    return std::string(type->name) + (count ? "[" + describe(*count) + "]" : "");
}

std::string Line::reference() const
{
    return DbFile::shown(place.file) + ":" + std::to_string(place.line);
}

std::string Schema::whatIsFullFor(const Line& line) const
{
    if (m_lines.size() == maxLines)
        return "too many lines: schemas have at most " + std::to_string(maxLines);
    if (line.key.isLiteral())
        return {};
    if (m_patterns.size() == maxPatterns)
        return "too many patterns: schemas have at most " + std::to_string(maxPatterns);
    if (m_patternSize + line.key.text().size() > maxPatternSize)
        return "too long patterns: all of a schema have at most " + std::to_string(maxPatternSize) +
               " bytes together";
    if (m_expressionSize + line.limits.expressionSize() > maxExpressionSize)
        return "too large expressions: in lines with patterns they have at most " +
               std::to_string(maxExpressionSize) + " characters together, written out";
    return {};
}

void Schema::add(Line line)
{
    if (!line.key.isLiteral()) {
        m_patternSize += line.key.text().size();
        m_expressionSize += line.limits.expressionSize();
    }
    (line.key.isLiteral() ? m_literals[line.key.literal()] : m_patterns).push_back(m_lines.size());
    m_lines.push_back(std::move(line));
}

std::vector<const Line*> Schema::matching(const std::string& key) const
{
    std::vector<std::size_t> indices;
    if (const auto found = m_literals.find(key); found != m_literals.end())
        indices = found->second;
    for (const std::size_t index : m_patterns)
        if (m_lines[index].key.matches(key))
            indices.push_back(index);
    std::sort(indices.begin(), indices.end());
    std::vector<const Line*> lines;
    lines.reserve(indices.size());
    for (const std::size_t index : indices)
        lines.push_back(&m_lines[index]);
    return lines;
}

const Line* Schema::defaultOf(const std::string& key) const
{
    const Line* ofPattern = nullptr;
    for (const Line* const line : matching(key)) {
        if (!line->fallback)
            continue;
        if (line->key.isLiteral())
            return line;
        if (ofPattern == nullptr)
            ofPattern = line;
    }
    return ofPattern;
}

} // namespace Varnix::Schema
