#include "dbfile/likeSource.h"

#include "dbfile/logicalLine.h"
#include "dbfile/sourcePrinter.h"
#include "dbfile/sourceValue.h"

#include <map>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace Varnix::DbFile {

namespace {

/** A parameter as a source has it. */
struct Written
{
    /** The comments and empty lines before it. */
    std::string before;
    /** Its lines, and the comments in them alone. */
    std::string text;
    std::string comment;
    /** Its key, and what separates it from the type where they are on one line. */
    std::string key;
    std::uint8_t type;
    std::string data;
};

/** The comment at the end of a line whose last token ends at `end`. */
std::string_view commentOf(std::string_view line, std::size_t end)
{
    const std::size_t start = line.find('#', end);
    return start == std::string_view::npos ? "" : line.substr(start);
}

std::string commentsOf(std::string_view text)
{
    std::string comments;
    while (!text.empty()) {
        const std::string_view line = cutLine(text);
        const std::vector<Token> tokens = readLine(line);
        if (const std::string_view comment =
                commentOf(line, tokens.empty() ? 0 : tokens.back().end - 1);
            !comment.empty())
            comments.append(" ").append(comment);
    }
    return comments;
}

Written writtenOf(std::string before, std::string_view text, const LogicalLine& line,
                  const std::vector<Token>& tokens)
{
    const SourceType type = readType(tokens[1]);
    const LogicalLine::Place place = line.placeOf(tokens[1].column);
    return {.before = std::move(before),
            .text = std::string(text),
            .comment = commentsOf(text),
            .key = place.line == 0 ? std::string(text.substr(0, place.column - 1))
                                   : tokens.front().text + ' ',
            .type = type.number,
            .data = readData(type, std::span(tokens).subspan(2))};
}

class LikeSource
{
public:
    explicit LikeSource(std::string_view source)
    {
        while (!source.empty()) {
            const std::string_view rest = source;
            LogicalLine line;
            const std::vector<Token> tokens = line.read(source);
            const std::string_view text = rest.substr(0, rest.size() - source.size());
            if (tokens.empty())
                m_before.append(withEnd(text));
            else if (tokens.front().text != directiveMark)
                m_parameters.emplace(tokens.front().text,
                                     writtenOf(std::exchange(m_before, {}), text, line, tokens));
        }
    }

    std::string print(const Record& record)
    {
        const auto found = m_parameters.find(record.key);
        if (found == m_parameters.end())
            return printParameter(record);
        const Written& written = found->second;
        std::string text = written.before;
        if (written.type == record.type && written.data == record.data)
            return text + withEnd(written.text);
        return text + written.key + printValue(record.type, record.data) + written.comment + '\n';
    }

    /** The comments at the source's end. */
    const std::string& end() const noexcept { return m_before; }

private:
    static std::string withEnd(std::string_view text)
    {
        return std::string(text) + (text.ends_with('\n') ? "" : "\n");
    }

    std::map<std::string, Written, std::less<>> m_parameters;
    std::string m_before;
};

} // namespace

std::string printLike(const Database& database, std::string_view source)
{
    LikeSource like(source);
    return printSource(
        database, [&like](const Record& record) { return like.print(record); }, like.end());
}

} // namespace Varnix::DbFile
