/**
 * The checker on any bytes: its findings are in order and include every reason for a loader's
 * refusal. A file that a loader accepts is shown as text from which the same bytes are built, and
 * one without findings and notes as plain text.
 */
#include "dbfile/checker.h"
#include "dbfile/decoder.h"
#include "dbfile/sourceParser.h"
#include "dbfile/sourcePrinter.h"
#include "target.h"

#include <algorithm>
#include <string>

namespace {

using namespace Varnix;
using Fuzz::require;

bool standsBefore(const DbFile::Finding& a, const DbFile::Finding& b)
{
    return a.offset < b.offset;
}

/** A mark within a line belongs to a value. */
bool hasDirective(const std::string& source)
{
    return ('\n' + source).find('\n' + std::string(DbFile::directiveMark)) != std::string::npos;
}

void checkRebuilt(std::string_view image, bool isPlain)
{
    const DbFile::Database database = DbFile::decode(image);
    require(DbFile::encode(database) == image, "a decoded image is encoded to the same bytes");

    const std::string source = DbFile::printSource(database);
    require(!isPlain || !hasDirective(source), "a file as it should be is plain text");
    DbFile::SourceParser parser;
    parser.parse("dump", source);
    require(parser.errors().empty(), "a dump is a text source");
    require(parser.database() == database, "a dump says everything");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view image = Fuzz::viewOf(data, size);
    const auto [findings, warnings, notes] = DbFile::check(image);
    for (const auto& said : {findings, warnings}) {
        require(std::is_sorted(said.begin(), said.end(), standsBefore),
                "findings stand in the order of the file");
        for (const DbFile::Finding& finding : said)
            require(!finding.text.empty() && finding.offset <= size,
                    "a finding says what and where");
    }

    const auto refusals = DbFile::refusals(image);
    for (const DbFile::Finding& refusal : refusals)
        require(std::find(findings.begin(), findings.end(), refusal) != findings.end(),
                "what a loader refuses is a finding");
    if (refusals.empty())
        checkRebuilt(image, findings.empty() && notes.empty());
    return 0;
}
