#include "recording/record.h"

#include <algorithm>
#include <charconv>
#include <ostream>
#include <stdexcept>

namespace Varnix::Recording {

namespace {

/** Reads the printed form of a record from left to right. */
class Reader
{
public:
    explicit Reader(std::string_view text) : m_text(text), m_rest(text) {}

    bool accept(std::string_view token)
    {
        const bool found = m_rest.starts_with(token);
        if (found)
            m_rest.remove_prefix(token.size());
        return found;
    }

    void expect(std::string_view token)
    {
        if (!accept(token))
            fail(token);
    }

    /** Everything up to `end`, which is skipped. */
    std::string_view until(std::string_view end)
    {
        const std::size_t found = m_rest.find(end);
        if (found == std::string_view::npos)
            fail(end);
        const std::string_view skipped = m_rest.substr(0, found);
        m_rest.remove_prefix(found + end.size());
        return skipped;
    }

    std::string value()
    {
        if (accept("\""))
            return string();
        if (accept("[ "))
            return sequence();
        return std::to_string(number());
    }

    std::int64_t number()
    {
        std::int64_t result = 0;
        const auto [end, error] =
            std::from_chars(m_rest.data(), m_rest.data() + m_rest.size(), result);
        if (error != std::errc())
            fail("a number");
        m_rest.remove_prefix(static_cast<std::size_t>(end - m_rest.data()));
        return result;
    }

private:
    char next()
    {
        if (m_rest.empty())
            fail("a character");
        const char c = m_rest.front();
        m_rest.remove_prefix(1);
        return c;
    }

    std::string string()
    {
        std::string result;
        for (char c = next(); c != '"'; c = next())
            result += c == '\\' ? escaped() : c;
        return result;
    }

    char escaped()
    {
        constexpr std::string_view letters = "abefnrtv0";
        constexpr std::string_view meanings("\a\b\x1b\f\n\r\t\v\0", letters.size());
        const char c = next();
        if (c == 'x') {
            const char digits[] = {next(), next()};
            unsigned char code = 0;
            if (std::from_chars(digits, digits + 2, code, 16).ptr != digits + 2)
                fail("two hexadecimal digits");
            return static_cast<char>(code);
        }
        const std::size_t letter = letters.find(c);
        return letter != std::string_view::npos ? meanings[letter] : c;
    }

    std::string sequence()
    {
        std::string bytes;
        while (!accept("]")) {
            until("] = ");
            bytes += static_cast<char>(number());
            accept(",");
            expect(" ");
        }
        return bytes;
    }

    [[noreturn]] void fail(std::string_view wanted) const
    {
        throw std::runtime_error("no " + std::string(wanted) + " at column " +
                                 std::to_string(m_text.size() - m_rest.size()) +
                                 " of trace record: " + std::string(m_text));
    }

    std::string_view m_text;
    std::string_view m_rest;
};

/** Seconds and nanoseconds since 1970. */
std::chrono::sys_time<std::chrono::nanoseconds> timeOf(Reader& reader)
{
    const std::chrono::seconds seconds(reader.number());
    reader.expect(".");
    return std::chrono::sys_time<std::chrono::nanoseconds>(
        seconds + std::chrono::nanoseconds(reader.number()));
}

std::string valueOr(const Record& record, std::string_view name, std::string otherwise)
{
    for (const auto& [key, value] : record.fields)
        if (key == name)
            return value;
    return otherwise;
}

} // namespace

const std::string& Record::field(std::string_view name) const
{
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [&](const auto& field) { return field.first == name; });
    if (found == fields.end())
        throw std::out_of_range(event + " has no field " + std::string(name));
    return found->second;
}

std::ostream& operator<<(std::ostream& stream, const Record& record)
{
    return stream << record.event << ' ' << record.file << ':' << record.line << " \"" << record.msg
                  << '"';
}

Record parseRecord(std::string_view line)
{
    Record record;
    Reader reader(line);
    reader.until("timestamp = ");
    record.time = timeOf(reader);
    reader.until("loglevel = ");
    reader.until(" (");
    record.level = static_cast<int>(reader.number());
    reader.expect("), name = ");
    record.provider = reader.until(":");
    record.event = reader.until(", ");
    reader.until("vpid = ");
    record.vpid = static_cast<pid_t>(reader.number());
    reader.expect(", procname = ");
    record.command = reader.value();
    reader.until("event.fields = { ");
    while (!reader.accept("}")) {
        const std::string name(reader.until(" = "));
        std::string value = reader.value();
        reader.accept(",");
        reader.expect(" ");
        // The printed length of a sequence repeats what its bytes say.
        if (!name.starts_with('_'))
            record.fields.emplace_back(name, std::move(value));
    }
    record.file = valueOr(record, "file", "");
    record.line = static_cast<unsigned int>(Reader(valueOr(record, "line", "0")).number());
    record.obj = valueOr(record, "obj", "");
    record.msg = valueOr(record, "msg", "");
    return record;
}

} // namespace Varnix::Recording
