#include "schema/report.h"

#include "dbfile/decoder.h"
#include "dbfile/finding.h"
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

/** The text's line of this number, from 1. */
std::string_view lineOf(std::string_view text, std::size_t number)
{
    for (; number > 1; --number)
        text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
    text = text.substr(0, text.find('\n'));
    return text.ends_with('\r') ? text.substr(0, text.size() - 1) : text;
}

/** Where in a record's line the finding is; the line has been read before. */
std::size_t columnOf(std::string_view line, const Finding& finding)
{
    const std::vector<Token> tokens = DbFile::readLine(line);
    // "KEY TYPE VALUE..." or "#! record TAG KEY TYPE VALUE...".
    const std::size_t key = tokens.front().text == DbFile::directiveMark ? 3 : 0;
    std::size_t index = key;
    if (finding.subject == Subject::ELEMENT)
        index = key + 2 + finding.element;
    else if (finding.subject != Subject::KEY)
        index = key + 1;
    // A value that is not there is missing after the type.
    return tokens[std::min(index, tokens.size() - 1)].column;
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
            SourcePlace place = parser.places()[i];
            place.column = columnOf(lineOf(texts.at(place.file), place.line), finding);
            reports.push_back({finding.check, describe(place), std::move(finding.text), 0});
        }
    }
    return reports;
}

} // namespace Varnix::Schema
