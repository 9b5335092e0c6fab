/** The schema parser on any text, and what it reads against itself and against values. */
#include "dbfile/database.h"
#include "schema/contradictions.h"
#include "schema/judge.h"
#include "schema/parser.h"
#include "target.h"

#include <algorithm>
#include <set>
#include <string>

namespace {

using namespace Varnix;
using Fuzz::require;

void checkErrors(const Schema::Parser& parser, std::string_view text)
{
    require(parser.errors().size() <= DbFile::maxSourceErrors + 1, "errors are bounded");
    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    for (const DbFile::SourceFinding& error : parser.errors()) {
        require(error.place.line >= 1 && error.place.line <= lines, "an error is in a line");
        require(error.place.column >= 1 && error.place.column <= text.size() + 1,
                "an error is in a column");
    }
}

/** A key as a pattern that matches nothing else. */
std::string escaped(const std::string& key)
{
    std::string text;
    for (const char c : key)
        text.append(1, '\\').append(1, c);
    return text;
}

/** A key that a pattern matches: each wildcard's first character. */
std::string keyOf(const Schema::KeyPattern& pattern)
{
    std::string key;
    for (const Schema::KeyPattern::Element& element : pattern.elements())
        key.push_back(element.isWildcard() && element.characters.test('b') ? 'b'
                                                                           : element.character());
    return key;
}

void checkPatterns(const Schema::Line& line, const Schema::Line& other)
{
    const std::string key = keyOf(line.key);
    require(line.key.matches(key), "a pattern matches a key made from it");
    require(line.key.overlaps(other.key) == other.key.overlaps(line.key), "overlaps are mutual");
    if (other.key.matches(key))
        require(line.key.overlaps(other.key), "patterns of a common key overlap");
    if (DbFile::isPlainKey(key) && 2 * key.size() <= Schema::KeyPattern::maxSize &&
        key.find('/', 1) == std::string::npos)
        require(Schema::KeyPattern("/" + escaped(key.substr(1))).overlaps(other.key) ==
                    other.key.matches(key),
                "what overlaps a key matches it");
}

void checkValues(const Schema::Schema& schema, std::string_view text)
{
    const std::string bytes(text.substr(0, 64));
    std::set<std::string> keys;
    for (const Schema::Line& line : schema.lines()) {
        const std::string key = keyOf(line.key);
        keys.insert(key);
        for (const std::uint8_t type : {line.type->number, DbFile::charType})
            for (const Schema::Finding& finding :
                 judge(schema, key, {.type = type, .data = bytes}, Schema::Coverage::CLOSED)) {
                require(finding.check != Schema::Check::CLOSED, "a line describes its keys");
                require(finding.element <= bytes.size(), "a finding is in the value");
            }
    }
    require(judgeAbsent(schema, keys).empty(), "nothing is absent where every key is there");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = Fuzz::viewOf(data, size);
    Schema::Parser parser;
    parser.parse("fuzz", text);
    checkErrors(parser, text);
    const Schema::Schema& schema = parser.schema();
    for (const Schema::Line& line : schema.lines())
        checkPatterns(line, schema.lines().front());
    checkValues(schema, text);
    for (const Schema::SchemaFinding& found : contradictions(schema))
        require(describe(found.finding).starts_with("fuzz:"), "a finding names its schema");
    return 0;
}
