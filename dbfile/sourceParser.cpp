#include "dbfile/sourceParser.h"

#include "dbfile/finding.h"
#include "dbfile/sourceValue.h"

#include <utility>
#include <vector>

namespace Varnix::DbFile {

namespace {

std::string givenTwice(const std::string& what, const SourcePlace& first)
{
    return what + " is given twice; first at " + describe(first);
}

std::size_t endOf(std::span<const Token> tokens) noexcept
{
    return tokens.back().end;
}

} // namespace

SourceParser::SourceParser(std::uint64_t maxLength, Repetition repetition)
    : m_maxLength(maxLength), m_repetition(repetition), m_length(m_database.length())
{
}

void SourceParser::parse(const std::string& file, std::string_view text)
{
    m_file = file;
    readText(file, text, m_errors, [this](std::size_t line, const std::vector<Token>& tokens) {
        m_line = line;
        readSourceLine(tokens);
    });
}

void SourceParser::readSourceLine(const std::vector<Token>& tokens)
{
    if (tokens.front().text == directiveMark)
        readDirective(Tokens(tokens).subspan(tokens.size() > 1 ? 1 : 0));
    else
        readParameter(tokens);
}

void SourceParser::readParameter(Tokens tokens)
{
    const Token& key = tokens.front();
    if (key.kind != Token::Kind::WORD || !isPlainKey(key.text))
        throw LineError(key.column, "a key is \"/\" and at least one character more, not quoted");
    if (tokens.size() < 2)
        throw LineError(endOf(tokens), "the type is missing");
    const SourceType type = readType(tokens[1]);
    std::string data = readData(type, tokens.subspan(2));
    const auto [given, isNew] =
        m_keys.try_emplace(key.text, Given{placeAt(key.column), m_database.records.size()});
    const bool isOverride =
        !isNew && m_repetition == Repetition::OVERRIDES && given->second.place.file != m_file;
    if (!isNew && !isOverride)
        throw LineError(key.column, givenTwice(key.text, given->second.place));
    Record record{.key = key.text, .type = type.number, .data = std::move(data)};
    if (isOverride)
        replaceRecord(std::move(record), given->second, key.column);
    else
        addRecord(std::move(record), key.column);
    if (m_database.records[given->second.record].data.empty())
        m_warnings.push_back({placeAt(key.column), noValue(key.text)});
}

void SourceParser::readDirective(Tokens tokens)
{
    const std::string& name = tokens.front().text;
    if (name == "record")
        readRecord(tokens);
    else if (name == "reserved")
        readOnce(tokens, m_database.reserved, m_reserved);
    else if (name == "unchecked")
        readOnce(tokens, m_database.unchecked, m_unchecked);
    else if (name == "tail")
        readTail(tokens);
    else if (name == "extra")
        m_database.extra += readHexBytes(tokens.subspan(1));
    else
        throw LineError(tokens.front().column,
                        "unknown directive; there are record, reserved, tail, unchecked and extra");
}

void SourceParser::readRecord(Tokens tokens)
{
    if (tokens.size() < 4)
        throw LineError(endOf(tokens), "a record takes its tag, its key, its type and its value");
    const Token& key = tokens[2];
    if (key.kind != Token::Kind::TEXT || key.text.find('\0') != std::string::npos)
        throw LineError(key.column, "a record's key belongs between double quotes, without a NUL");
    const SourceType type = readType(tokens[3]);
    addRecord({.tag = readHexBytes(tokens.subspan(1, 1)).front(),
               .key = key.text,
               .type = type.number,
               .data = readData(type, tokens.subspan(4))},
              tokens.front().column);
}

void SourceParser::readOnce(Tokens tokens, std::string& bytes, std::optional<SourcePlace>& given)
{
    const Token& name = tokens.front();
    std::string read = readHexBytes(tokens.subspan(1));
    if (read.size() != bytes.size())
        throw LineError(name.column, name.text + " takes " + std::to_string(bytes.size()) +
                                         " bytes, not " + std::to_string(read.size()));
    if (given)
        throw LineError(name.column, givenTwice(name.text, *given));
    given = placeAt(name.column);
    bytes = std::move(read);
}

void SourceParser::readTail(Tokens tokens)
{
    const std::string bytes = readHexBytes(tokens.subspan(1));
    if (!std::exchange(m_tailGiven, true)) {
        m_length -= m_database.tail.size();
        m_database.tail.clear();
    }
    grow(bytes.size(), tokens.front().column);
    m_database.tail += bytes;
}

void SourceParser::addRecord(Record record, std::size_t column)
{
    if (m_lastRecord)
        throw LineError(column, "nothing is read after the record of another tag at " +
                                    describe(*m_lastRecord));
    grow(record.size(), column);
    if (record.tag != Format::recordTag)
        m_lastRecord = placeAt(column);
    m_database.records.push_back(std::move(record));
    m_places.push_back(placeAt(column));
}

void SourceParser::replaceRecord(Record record, Given& given, std::size_t column)
{
    Record& old = m_database.records[given.record];
    const std::uint64_t before = m_length;
    m_length -= old.size();
    try {
        grow(record.size(), column);
    } catch (const LineError&) {
        m_length = before;
        throw;
    }
    std::erase_if(m_warnings,
                  [&given](const SourceFinding& warning) { return warning.place == given.place; });
    const SourcePlace place = placeAt(column);
    m_overrides.push_back({place, record.key + " overrides the value at " + describe(given.place)});
    given.place = place;
    m_places[given.record] = place;
    old = std::move(record);
}

void SourceParser::grow(std::uint64_t size, std::size_t column)
{
    if (m_length + size > m_maxLength)
        throw LineError(column, "the database becomes too large: its length field holds at most " +
                                    std::to_string(m_maxLength));
    m_length += size;
}

SourcePlace SourceParser::placeAt(std::size_t column) const
{
    return {m_file, m_line, column};
}

} // namespace Varnix::DbFile
