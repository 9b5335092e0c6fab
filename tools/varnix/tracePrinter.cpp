#include "tracePrinter.h"

#include "dbfile/shown.h"
#include "recording/events.h"

#include <chrono>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string_view>

#include <nlohmann/json.hpp>
#include <unistd.h>

namespace Varnix::Tool {

namespace {

using Json = nlohmann::ordered_json;
using Time = std::chrono::sys_time<std::chrono::nanoseconds>;

/** Local, to the microsecond, with the difference to UTC. */
std::string shownTime(const Time& time)
{
    const auto micros = std::chrono::floor<std::chrono::microseconds>(time);
    const auto seconds = std::chrono::floor<std::chrono::seconds>(micros);
    const std::time_t value = seconds.time_since_epoch().count();
    std::tm parts{};
    ::localtime_r(&value, &parts);
    std::ostringstream text;
    text << std::put_time(&parts, "%FT%T") << '.' << std::setw(6) << std::setfill('0')
         << (micros - seconds).count() << std::put_time(&parts, "%z");
    return text.str();
}

/** The texts about the server begin with a line feed, which says nothing. */
std::string_view withoutLineFeed(std::string_view message)
{
    message.remove_prefix(message.starts_with('\n') ? 1 : 0);
    return message;
}

/** One line, safe for a terminal. */
std::string lineOf(const Json& json)
{
    return json.dump(-1, ' ', ::isatty(STDOUT_FILENO) != 0, Json::error_handler_t::replace);
}

} // namespace

void TracePrinter::print(const std::vector<Recording::Record>& records)
{
    for (const Recording::Record& record : records)
        if (m_json)
            printJson(record);
        else
            printText(record);
    std::cout.flush();
}

void TracePrinter::printText(const Recording::Record& record)
{
    std::cout << shownTime(record.time) << ' ' << record.vpid << ' '
              << DbFile::shown(record.command) << ' ' << DbFile::shown(record.event) << ' '
              << DbFile::shown(withoutLineFeed(record.msg)) << '\n';
    const std::string advice = Recording::adviceFor(record.event, record.msg);
    if (!advice.empty())
        std::cout << "    -> " << DbFile::shown(advice) << '\n';
}

void TracePrinter::printJson(const Recording::Record& record)
{
    Json event{{"time", shownTime(record.time)},
               {"pid", record.vpid},
               {"command", record.command},
               {"level", record.event},
               {"message", withoutLineFeed(record.msg)},
               {"source", record.file + ':' + std::to_string(record.line)}};
    const Recording::EventText* const entry = Recording::findEventText(record.event, record.msg);
    if (entry != nullptr && !entry->meaning.empty())
        event["meaning"] = entry->meaning;
    const std::string advice = Recording::adviceFor(record.event, record.msg);
    if (!advice.empty())
        event["advice"] = advice;
    std::cout << (m_isBegun ? ",\n" : "{\"events\": [\n") << lineOf(event);
    m_isBegun = true;
}

void TracePrinter::end()
{
    if (m_json)
        std::cout << (m_isBegun ? "\n" : "{\"events\": [") << "], \"errors\": []}\n";
}

void TracePrinter::fail(Status status, const std::string& text)
{
    if (m_json)
        std::cout << (m_isBegun ? "\n" : "{\"events\": [") << "], \"errors\": ["
                  << lineOf({{"message", text}, {"status", static_cast<int>(status)}}) << "]}\n";
    std::cout.flush();
    std::cerr << text << '\n';
}

} // namespace Varnix::Tool
