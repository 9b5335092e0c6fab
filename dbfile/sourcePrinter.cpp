#include "dbfile/sourcePrinter.h"

#include "dbfile/finding.h"
#include "dbfile/sourceLine.h"
#include "dbfile/sourceValue.h"

#include <algorithm>
#include <string_view>
#include <unordered_set>

namespace Varnix::DbFile {

namespace {

constexpr std::size_t bytesOnALine = 32;

std::string directive(std::string_view name)
{
    return std::string(directiveMark).append(" ").append(name);
}

std::string bytesLine(std::string_view name, std::string_view bytes)
{
    return directive(name) + (bytes.empty() ? "" : " ") + hexBytes(bytes) + "\n";
}

/** One line at least: no bytes is something to say too. */
std::string bytesLines(std::string_view name, std::string_view bytes)
{
    std::string lines;
    do {
        lines += bytesLine(name, bytes.substr(0, bytesOnALine));
        bytes.remove_prefix(std::min(bytes.size(), bytesOnALine));
    } while (!bytes.empty());
    return lines;
}

std::string recordLine(const Record& record)
{
    return directive("record") + " " + hexBytes({&record.tag, 1}) + " " + quoted(record.key) + " " +
           printValue(record.type, record.data) + "\n";
}

} // namespace

std::string printParameter(const Record& record)
{
    return record.key + " " + printValue(record.type, record.data) + "\n";
}

std::string printSource(const Database& database)
{
    return printSource(database, printParameter, "");
}

std::string printSource(const Database& database,
                        const std::function<std::string(const Record& record)>& print,
                        const std::string& end)
{
    const Database plain;
    std::string text;
    if (database.reserved != plain.reserved)
        text += bytesLine("reserved", database.reserved);
    std::unordered_set<std::string_view> keys;
    for (const Record& record : database.records) {
        const bool isNew = keys.insert(record.key).second;
        const bool isPlain = isNew && record.tag == Format::recordTag && isPlainKey(record.key);
        text += isPlain ? print(record) : recordLine(record);
    }
    text += end;
    if (database.tail != plain.tail)
        text += bytesLines("tail", database.tail);
    if (database.unchecked != plain.unchecked)
        text += bytesLine("unchecked", database.unchecked);
    if (database.extra != plain.extra)
        text += bytesLines("extra", database.extra);
    return text;
}

} // namespace Varnix::DbFile
