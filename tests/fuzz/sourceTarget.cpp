/** The text source parser on any text: what it reads is printed as text that says the same. */
#include "dbfile/decoder.h"
#include "dbfile/sourceParser.h"
#include "dbfile/sourcePrinter.h"
#include "target.h"

#include <algorithm>
#include <string>

namespace {

using namespace Varnix;
using DbFile::SourceParser;
using Fuzz::require;

void checkErrors(const SourceParser& parser, std::string_view text)
{
    require(parser.errors().size() <= SourceParser::maxErrors + 1, "errors are bounded");
    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    for (const DbFile::SourceFinding& error : parser.errors()) {
        require(error.place.line >= 1 && error.place.line <= lines, "an error is in a line");
        require(error.place.column >= 1 && error.place.column <= text.size() + 1,
                "an error is in a column");
        require(DbFile::describe(error).starts_with("fuzz:"), "an error names its file");
    }
}

void checkRead(const DbFile::Database& database)
{
    SourceParser again;
    again.parse("again", DbFile::printSource(database));
    require(again.errors().empty(), "what is printed can be read");
    require(again.database() == database, "what is printed says the same");

    const std::string image = DbFile::encode(database);
    require(DbFile::refusals(image).empty(), "what is built can be loaded");
    require(DbFile::encode(DbFile::decode(image)) == image, "what is built is understood");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = Fuzz::viewOf(data, size);
    SourceParser parser;
    parser.parse("fuzz", text);
    if (parser.errors().empty())
        checkRead(parser.database());
    else
        checkErrors(parser, text);
    return 0;
}
