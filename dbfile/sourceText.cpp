#include "dbfile/sourceText.h"

#include "dbfile/finding.h"
#include "dbfile/logicalLine.h"
#include "dbfile/shown.h"

#include <algorithm>
#include <optional>

namespace Varnix::DbFile {

namespace {

/** Bytes that no text has; a carriage return is one unless it ends a line. */
bool isForeignToText(std::string_view text, std::size_t position) noexcept
{
    const char c = text[position];
    if (c == '\r')
        return !text.substr(position + 1).starts_with('\n');
    return (static_cast<unsigned char>(c) < ' ' && c != '\t' && c != '\n') || c == '\x7F';
}

/** The first byte that no text has. */
std::optional<SourceFinding> foreignByte(const std::string& file, std::string_view text)
{
    std::size_t line = 1;
    std::size_t lineStart = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isForeignToText(text, i))
            return SourceFinding{{file, line, i - lineStart + 1},
                                 "not a text source: byte " +
                                     hexNumber(static_cast<unsigned char>(text[i]))};
        if (text[i] == '\n') {
            ++line;
            lineStart = i + 1;
        }
    }
    return std::nullopt;
}

} // namespace

std::string describe(const SourcePlace& place)
{
    return shown(place.file) + ":" + std::to_string(place.line) + ":" +
           std::to_string(place.column);
}

std::string describe(const SourceFinding& finding, std::string_view severity)
{
    return describe(finding.place).append(": ").append(severity).append(": ") + finding.text;
}

void readText(const std::string& file, std::string_view text, std::vector<SourceFinding>& errors,
              const LineHandler& handle)
{
    if (auto foreign = foreignByte(file, text)) {
        errors.push_back(std::move(*foreign));
        return;
    }
    const std::size_t errorsBefore = errors.size();
    for (std::size_t number = 1; !text.empty();) {
        LogicalLine line;
        try {
            const std::vector<Token> tokens = line.read(text);
            if (!tokens.empty())
                handle(number, tokens);
        } catch (const LineError& error) {
            const LogicalLine::Place place = line.placeOf(error.column());
            errors.push_back({{file, number + place.line, place.column}, error.what()});
        }
        number += line.size();
        if (errors.size() - errorsBefore == maxSourceErrors) {
            const SourcePlace place{file, number - 1, 1};
            errors.push_back({place, "too many errors; the rest of the source was not read"});
            return;
        }
    }
}

} // namespace Varnix::DbFile
