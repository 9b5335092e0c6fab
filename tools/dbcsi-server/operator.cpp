#include "operator.h"

#include "writeIndication.h"

#include <charconv>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <optional>
#include <sstream>

namespace Dbcsi {
namespace {

std::optional<unsigned> parseNumber(const std::string& text)
{
    unsigned value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc{} && stop == end ? std::optional(value) : std::nullopt;
}

std::string counted(std::size_t count)
{
    return std::to_string(count) + (count == 1 ? " subscriber" : " subscribers");
}

std::string localTime(std::chrono::system_clock::time_point point)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(point);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    std::ostringstream text;
    text << std::put_time(&parts, "%F %T");
    return text.str();
}

} // namespace

const char* Operator::help() noexcept
{
    return "  WORD...             send a command's words to every subscriber, for example\n"
           "                        db write /unit/label -c 'unit one'\n"
           "                        db write /unit/label -a spare\n"
           "                        db write /unit/gain -i 2 7 8\n"
           "                        db write /unit/gain -r 4 -i 0 9\n"
           "  status              list the subscribers\n"
           "  wait N [SECONDS]    wait until there are at least N subscribers\n"
           "  help                show this\n"
           "  quit                end the server\n"
           "Words are quoted as in a shell: '...', \"...\" and \\. A line that begins with # is\n"
           "a comment.\n";
}

bool Operator::execute(std::string_view line)
{
    ++m_lineNumber;
    bool goOn = true;
    const auto split = splitWords(line);
    if (const auto* error = std::get_if<SplitError>(&split))
        fail(ExitStatus::INVALID, error->text, error->column);
    else
        goOn = run(std::get<Words>(split));
    std::cout.flush();
    return goOn;
}

bool Operator::run(const Words& words)
{
    if (words.empty())
        return true;
    const std::string& command = words.front();
    if (command == "wait")
        return waitForSubscribers(words);
    if (command != "status" && command != "help" && command != "quit")
        write(words);
    else if (words.size() > 1)
        fail(ExitStatus::INVALID, "\"" + command + "\" takes no arguments");
    else if (command == "status")
        showStatus();
    else if (command == "help")
        std::cout << help();
    else
        return false;
    return true;
}

bool Operator::waitForSubscribers(const Words& words)
{
    const auto wanted = words.size() >= 2 ? parseNumber(words[1]) : std::nullopt;
    const auto seconds = words.size() == 3 ? parseNumber(words[2]) : std::nullopt;
    if (!wanted || words.size() > 3 || (words.size() == 3 && !seconds)) {
        fail(ExitStatus::INVALID, "usage: wait N [SECONDS]");
        return true;
    }
    EndSignals::Deadline deadline;
    if (seconds)
        deadline = std::chrono::steady_clock::now() + std::chrono::seconds(*seconds);
    for (;;) {
        m_server.clearChanges();
        const std::size_t count = m_server.subscriberCount();
        if (count >= *wanted) {
            std::cout << counted(count) << '\n';
            return true;
        }
        const EndSignals::Wait result = m_endSignals.waitFor(m_server.changes(), deadline);
        if (result == EndSignals::Wait::TIMED_OUT) {
            fail(ExitStatus::NO, "there are still only " + counted(count));
            return true;
        }
        if (result == EndSignals::Wait::ENDED)
            return false;
    }
}

void Operator::showStatus()
{
    const std::vector<Connection> subscribers = m_server.subscribers();
    std::cout << counted(subscribers.size()) << '\n';
    for (const Connection& subscriber : subscribers) {
        std::cout << "mailbox 0x" << std::hex << std::setw(8) << std::setfill('0')
                  << subscriber.mailbox << std::dec << "  protocol " << subscriber.protocolVersion
                  << "  since " << localTime(subscriber.since) << "  writes " << subscriber.writes
                  << '\n';
    }
}

void Operator::write(const Words& words)
{
    if (words.size() < fewestUsefulWords)
        report("warning", "subscribers ignore a command of fewer than 4 words", 1);
    try {
        const std::size_t count = m_server.write(words);
        std::cout << "sent to " << counted(count) << '\n';
    } catch (const Mailbox::TooLarge& error) {
        fail(ExitStatus::INVALID, error.what());
    }
}

void Operator::fail(ExitStatus status, const std::string& text, std::size_t column)
{
    if (m_status == ExitStatus::DONE)
        m_status = status;
    report("error", text, column);
}

void Operator::report(const char* kind, const std::string& text, std::size_t column) const
{
    std::cerr << "<stdin>:" + std::to_string(m_lineNumber) + ':' + std::to_string(column) + ": " +
                     kind + ": " + text + '\n';
}

} // namespace Dbcsi
