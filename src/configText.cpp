#include "configText.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Varnix::Backend::DBUtils {

namespace {

using std::string_view;

constexpr std::size_t maxSize = std::size_t{64} << 20; ///< of all files together
constexpr std::size_t fileCost = 4096;                 ///< what a file counts beside its bytes
constexpr std::size_t maxIncludeDepth = 10;            ///< libconfig's
constexpr std::size_t maxNesting = 100;
/** libconfig compares the name of each setting with those before it in its group. */
constexpr std::size_t maxComparisons = 1'000'000'000; ///< of characters

const char* reasonOf(ReadResult result) noexcept
{
    switch (result) {
    case ReadResult::NOT_OPENED:
        return "cannot open include file"; // as libconfig words it
    case ReadResult::TOO_LARGE:
        return "file too large";
    default:
        return ConfigText::inputError;
    }
}

/** The size of the directive that the line starts with, its opening quote included; 0: none. */
std::size_t directiveSize(string_view line) noexcept
{
    constexpr string_view blanks = " \t";
    constexpr string_view directive = "@include";
    const string_view rest = line.substr(std::min(line.find_first_not_of(blanks), line.size()));
    if (rest.substr(0, directive.size()) != directive)
        return 0;
    const std::size_t quote = rest.find_first_not_of(blanks, directive.size());
    if (quote == directive.size() || quote == string_view::npos || rest[quote] != '"')
        return 0;
    return line.size() - rest.size() + quote + 1;
}

bool isHexDigit(char c) noexcept
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

/** The size of the escape sequence that the text starts with; 1: a backslash that is just one. */
std::size_t escapeSize(string_view text) noexcept
{
    if (text.size() >= 2 && string_view("nrtf\\\"").find(text[1]) != string_view::npos)
        return 2;
    const bool isHex = text.size() >= 4 && (text[1] == 'x' || text[1] == 'X') &&
                       isHexDigit(text[2]) && isHexDigit(text[3]);
    return isHex ? 4 : 1;
}

bool isInName(char c) noexcept
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-' || c == '*';
}

} // namespace

ConfigText::ConfigText(const std::string& path, Locate locate)
    : m_locate(std::move(locate)), m_sizeLeft(maxSize)
{
    std::string content;
    const ReadResult result = read(path, m_sizeLeft, content);
    if (result != ReadResult::READ) {
        fail(result == ReadResult::TOO_LARGE ? reasonOf(result) : inputError, {path, 0});
        return;
    }
    m_parts.push_back({m_textLine, {path, 1}});
    m_sizeLeft -= content.size();
    addContent(content);
}

ConfigText::Place ConfigText::placeOf(int textLine) const
{
    const auto next =
        std::upper_bound(m_parts.begin(), m_parts.end(), textLine,
                         [](int line, const Part& part) { return line < part.textLine; });
    if (next == m_parts.begin())
        return {};
    const Part& part = *std::prev(next);
    return {part.start.file, part.start.line + textLine - part.textLine};
}

ReadResult ConfigText::read(const std::string& path, std::size_t sizeLeft,
                            std::string& content) const
{
    return readRegularFile(m_locate ? m_locate(path) : path, sizeLeft, content);
}

void ConfigText::addContent(const std::string& content)
{
    string_view rest = content;
    while (!rest.empty() && !m_failure) {
        const bool isLineStart = rest.size() == content.size() || rest.data()[-1] == '\n';
        if (m_state == State::PLAIN)
            addPlain(rest, isLineStart);
        else if (m_state == State::COMMENT)
            addComment(rest);
        else if (m_state == State::STRING)
            addString(rest);
        else
            addPath(rest);
    }
}

void ConfigText::addPlain(string_view& rest, bool isLineStart)
{
    const std::size_t directive = isLineStart ? directiveSize(rest) : 0;
    if (directive > 0) {
        m_state = State::INCLUDE;
        rest.remove_prefix(directive);
    } else if (rest.substr(0, 2) == "/*") {
        m_state = State::COMMENT;
        take(rest, 2);
    } else if (rest.substr(0, 2) == "//" || rest.front() == '#') {
        addLineComment(rest);
    } else {
        const char character = rest.front();
        if (character == '"')
            m_state = State::STRING;
        take(rest, 1);
        count(character);
    }
}

void ConfigText::addComment(string_view& rest)
{
    const std::size_t end = rest.find("*/");
    if (end != string_view::npos)
        m_state = State::PLAIN;
    take(rest, end == string_view::npos ? rest.size() : end + 2);
}

void ConfigText::addLineComment(string_view& rest)
{
    // To libconfig it is a comment only where a line feed follows.
    const std::size_t end = rest.find('\n');
    if (end == string_view::npos)
        append("?");
    take(rest, std::min(end, rest.size()));
}

void ConfigText::addString(string_view& rest)
{
    if (rest.front() == '"') {
        m_state = State::PLAIN;
        take(rest, 1);
    } else if (rest.front() == '\\') {
        const std::size_t size = escapeSize(rest);
        if (size == 1)
            append("\\"); // so that what follows does not become part of it
        take(rest, size);
    } else if (rest.front() == '@') {
        append("\\x40");
        rest.remove_prefix(1);
    } else if (rest.front() == '\0') {
        // libconfig leaves out what follows a null character, up to the next of these.
        take(rest, std::min(rest.find_first_of("\"\\"), rest.size()));
    } else {
        take(rest, std::min(rest.find_first_of(string_view("\"\\@\0", 4)), rest.size()));
    }
}

void ConfigText::addPath(string_view& rest)
{
    if (rest.front() == '"') {
        rest.remove_prefix(1);
        include();
    } else if (rest.front() == '\\') {
        const bool isEscape = rest.size() > 1 && (rest[1] == '\\' || rest[1] == '"');
        if (isEscape)
            m_path.push_back(rest[1]);
        rest.remove_prefix(isEscape ? 2 : 1);
    } else {
        const string_view run = rest.substr(0, rest.find_first_of("\"\\"));
        m_path.append(run.substr(0, run.find('\0')));
        for (const char c : run)
            if (c == '\n')
                append("\n");
        rest.remove_prefix(run.size());
    }
}

void ConfigText::include()
{
    const std::string path = std::exchange(m_path, {});
    Place place = placeOf(m_textLine);
    m_state = State::PLAIN;
    if (m_depth == maxIncludeDepth) {
        fail("include file nesting too deep", std::move(place)); // as libconfig words it
        return;
    }
    std::string content;
    const ReadResult result =
        m_sizeLeft < fileCost ? ReadResult::TOO_LARGE : read(path, m_sizeLeft - fileCost, content);
    if (result != ReadResult::READ) {
        fail(reasonOf(result), std::move(place));
        return;
    }
    m_sizeLeft -= fileCost + content.size();
    append("\n");
    m_parts.push_back({m_textLine, {path, 1}});
    ++m_depth;
    addContent(content);
    --m_depth;
    if (m_state != State::STRING)
        append("\n");
    m_parts.push_back({m_textLine, std::move(place)});
}

void ConfigText::take(string_view& rest, std::size_t size)
{
    append(rest.substr(0, size));
    rest.remove_prefix(size);
}

void ConfigText::append(string_view text)
{
    for (const char c : text) {
        // Outside comments libconfig refuses either; in strings there is none left.
        m_text.push_back(c == '@' ? '?' : c);
        m_textLine += c == '\n' ? 1 : 0;
    }
}

void ConfigText::count(char character)
{
    if (isInName(character)) {
        ++m_nameSize;
    } else if (character == '=' || character == ':') {
        m_comparisons += m_settings.back()++ * std::exchange(m_nameSize, 0);
        if (m_comparisons > maxComparisons)
            refuse("too many settings in one group");
    } else if (character == '(' || character == '[' || character == '{') {
        m_settings.push_back(0);
        if (m_settings.size() > maxNesting)
            refuse("settings nested too deep");
    } else if (character == ')' || character == ']' || character == '}') {
        if (m_settings.size() > 1)
            m_settings.pop_back();
    } else if (character == ';' || character == ',') {
        m_nameSize = 0;
    }
}

void ConfigText::refuse(const char* reason)
{
    fail(reason, placeOf(m_textLine));
    m_text.clear(); // not even the beginning goes to libconfig
}

void ConfigText::fail(const char* reason, Place place)
{
    append("\n");
    m_failure = Failure{reason, std::move(place), m_textLine};
}

} // namespace Varnix::Backend::DBUtils
