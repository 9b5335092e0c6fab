#ifndef VARNIX_DBFILE_SOURCETEXT_H
#define VARNIX_DBFILE_SOURCETEXT_H

#include "dbfile/sourceLine.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Varnix::DbFile {

/** A place in a text source; line and column count from 1, columns in bytes. */
struct SourcePlace
{
    std::string file;
    std::size_t line = 0;
    std::size_t column = 0;

    bool operator==(const SourcePlace&) const = default;
};

/** Something said about a place in a text source. */
struct SourceFinding
{
    SourcePlace place;
    std::string text;
};

/** "FILE:LINE:COLUMN". */
std::string describe(const SourcePlace& place);

/** "FILE:LINE:COLUMN: SEVERITY: text". */
std::string describe(const SourceFinding& finding, std::string_view severity = "error");

/** After so many errors a text is not read to its end. */
inline constexpr std::size_t maxSourceErrors = 20;

/** Is given a line's number, that of the first where others go on with it, and its tokens, of which
 * there is at least one; may throw LineError. */
using LineHandler = std::function<void(std::size_t line, const std::vector<Token>& tokens)>;

/**
 * Reads a text line by line. A line that is wrong is added to `errors`, and the next one is read.
 * A text with a byte that no text has is one error, and no line is read.
 */
void readText(const std::string& file, std::string_view text, std::vector<SourceFinding>& errors,
              const LineHandler& handle);

} // namespace Varnix::DbFile

#endif
