#include "schema/report.h"

#include "dbfile/decoder.h"
#include "dbfile/finding.h"
#include "dbfile/logicalLine.h"
#include "dbfile/shown.h"
#include "schema/contradictions.h"

#include <algorithm>
#include <utility>

namespace Varnix::Schema {

namespace {

using DbFile::RecordPlace;
using DbFile::SourcePlace;
using DbFile::Token;
using Subject = Finding::Subject;

std::size_t offsetOf(const RecordPlace& record, const Finding& finding)
{
    const DbFile::Type* const type = DbFile::findType(record.type);
    switch (finding.subject) {
    case Subject::KEY:
        return record.start + 1;
    case Subject::TYPE:
        return record.typeOffset();
    case Subject::LENGTH:
        return record.lengthOffset();
    case Subject::ELEMENT:
        break;
    }
    return record.dataOffset() + finding.element * (type == nullptr ? 1 : type->elementSize);
}

Report reportAt(const std::string& file, std::uint64_t offset, Finding&& finding)
{
    return {finding.check, DbFile::shown(file) + ":@" + DbFile::hexNumber(offset),
            std::move(finding.text), offset};
}

/** The text from the line of this number on, from 1. */
std::string_view fromLine(std::string_view text, std::size_t number)
{
    for (; number > 1; --number)
        DbFile::cutLine(text);
    return text;
}

/** Where in the text of a record's source the finding is; it has been read before. */
SourcePlace placeOf(std::string_view text, SourcePlace place, const Finding& finding)
{
    std::string_view rest = fromLine(text, place.line);
    DbFile::LogicalLine line;
    const std::vector<Token> tokens = line.read(rest);
    // "KEY TYPE VALUE..." or "#! record TAG KEY TYPE VALUE...".
    const std::size_t key = tokens.front().text == DbFile::directiveMark ? 3 : 0;
    std::size_t index = key;
    if (finding.subject == Subject::ELEMENT)
        index = key + 2 + finding.element;
    else if (finding.subject != Subject::KEY)
        index = key + 1;
    // A value that is not there is missing after the type.
    const auto found = line.placeOf(tokens[std::min(index, tokens.size() - 1)].column);
    place.line += found.line;
    place.column = found.column;
    return place;
}

} // namespace

std::string describe(const Report& report, std::string_view severity)
{
    return std::string(report.place).append(": ").append(severity).append(": ") + report.text;
}

std::vector<Report> reportSchema(const Schema& schema)
{
    std::vector<Report> reports;
    for (const SchemaFinding& found : contradictions(schema))
        reports.push_back({found.check, describe(found.finding.place), found.finding.text, 0});
    return reports;
}

std::vector<Report> reportImage(const Schema& schema, const std::string& file,
                                std::string_view image, Coverage coverage)
{
    std::vector<Report> reports;
    const std::size_t end = DbFile::lengthField(image);
    std::size_t position = DbFile::Format::headerSize;
    while (position < end && image[position] == DbFile::Format::recordTag) {
        const auto record = DbFile::recordAt(image, position, end);
        if (!record)
            break;
        const std::string key(image.substr(record->start + 1, record->keySize));
        const DbFile::Value value{
            .type = record->type,
            .data = std::string(
                image.substr(std::min(record->dataOffset(), image.size()), record->dataSize))};
        if (DbFile::isKept(key, value.type))
            for (Finding& finding : judge(schema, key, value, coverage))
                reports.push_back(reportAt(file, offsetOf(*record, finding), std::move(finding)));
        position = record->end();
    }
    return reports;
}

std::vector<Report> reportSources(const Schema& schema, const DbFile::SourceParser& parser,
                                  const std::map<std::string, std::string>& texts,
                                  Coverage coverage)
{
    std::vector<Report> reports;
    const std::vector<DbFile::Record>& records = parser.database().records;
    for (std::size_t i = 0; i < records.size(); ++i) {
        const DbFile::Record& record = records[i];
        if (!DbFile::isKept(record.key, record.type))
            continue;
        for (Finding& finding :
             judge(schema, record.key, {.type = record.type, .data = record.data}, coverage)) {
            const SourcePlace& start = parser.places()[i];
            const SourcePlace place = placeOf(texts.at(start.file), start, finding);
            reports.push_back({finding.check, describe(place), std::move(finding.text), 0});
        }
    }
    return reports;
}

} // namespace Varnix::Schema
