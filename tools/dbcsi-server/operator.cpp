#include "operator.h"

#include "commands.h"
#include "dbfile/shown.h"
#include "decimal.h"
#include "mailbox.h"
#include "nearest.h"

#include <algorithm>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <optional>
#include <sstream>

namespace Dbcsi {
namespace {

std::string counted(std::size_t count)
{
    return std::to_string(count) + (count == 1 ? " subscriber" : " subscribers");
}

/** For a line that is too short to be sent. */
std::string notACommand(const std::string& command)
{
    const std::string_view nearest = Nearest::candidate(command, Commands::all);
    return '"' + Varnix::DbFile::shown(command) +
           "\" is no command of the server, and a write has at least 4 words; " +
           "did you mean \"" + (nearest == "db" ? "db write KEY VALUE..." : std::string(nearest)) +
           "\"?";
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
           "  settle [SECONDS]    wait until every subscriber has handled what it was sent\n"
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
    if (command == "settle")
        return settle(words);
    if (!Commands::isOwn(command))
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
    const auto wanted = words.size() >= 2 ? Decimal::number<unsigned>(words[1]) : std::nullopt;
    const auto seconds = words.size() == 3 ? Decimal::number<unsigned>(words[2]) : std::nullopt;
    if (!wanted || words.size() > 3 || (words.size() == 3 && !seconds)) {
        fail(ExitStatus::INVALID, "usage: wait N [SECONDS]");
        return true;
    }
    std::size_t count = 0;
    const auto result = waitUntil(
        [&] {
            count = m_server.subscriberCount();
            return count >= *wanted;
        },
        seconds);
    if (result == EndSignals::Wait::READY)
        std::cout << counted(count) << '\n';
    else if (result == EndSignals::Wait::TIMED_OUT)
        fail(ExitStatus::NO, "there are still only " + counted(count));
    return result != EndSignals::Wait::ENDED;
}

bool Operator::settle(const Words& words)
{
    const auto seconds = words.size() == 2 ? Decimal::number<unsigned>(words[1]) : std::nullopt;
    if (words.size() > 2 || (words.size() == 2 && !seconds)) {
        fail(ExitStatus::INVALID, "usage: settle [SECONDS]");
        return true;
    }
    m_server.askAll();
    std::size_t count = 0;
    const auto result = waitUntil(
        [&] {
            count = m_server.unansweredCount();
            return count == 0;
        },
        seconds);
    if (result == EndSignals::Wait::READY)
        showSettled();
    else if (result == EndSignals::Wait::TIMED_OUT)
        fail(ExitStatus::NO, counted(count) + " did not handle what was sent in time");
    return result != EndSignals::Wait::ENDED;
}

void Operator::showSettled()
{
    const std::vector<Connection> subscribers = m_server.subscribers();
    std::cout << "settled " << counted(subscribers.size());
    for (const Connection& subscriber : subscribers)
        std::cout << ' ' << Mailbox::idText(subscriber.mailbox);
    std::cout << '\n';
}

EndSignals::Wait Operator::waitUntil(const std::function<bool()>& reached,
                                     std::optional<unsigned> seconds)
{
    EndSignals::Deadline deadline;
    if (seconds)
        deadline = std::chrono::steady_clock::now() + std::chrono::seconds(*seconds);
    for (;;) {
        m_server.clearChanges();
        if (reached())
            return EndSignals::Wait::READY;
        const EndSignals::Wait result = m_endSignals.waitFor(m_server.changes(), deadline);
        if (result != EndSignals::Wait::READY)
            return result;
    }
}

void Operator::showStatus()
{
    const std::vector<Connection> subscribers = m_server.subscribers();
    std::cout << counted(subscribers.size()) << '\n';
    for (const Connection& subscriber : subscribers) {
        std::cout << subscriber.process.id.process << "  "
                  << Varnix::DbFile::shown(subscriber.process.command) << "  since "
                  << localTime(subscriber.since) << "  writes " << subscriber.writes << "  waiting "
                  << subscriber.waiting << " bytes\n";
    }
}

void Operator::write(const Words& words)
{
    if (words.size() < fewestUsefulWords) {
        fail(ExitStatus::INVALID, notACommand(words.front()));
        return;
    }
    try {
        report(m_server.write(words));
    } catch (const Mailbox::TooLarge& error) {
        fail(ExitStatus::INVALID, error.what());
    } catch (const JournalError& error) {
        fail(ExitStatus::INVALID, std::string("nothing is sent: ") + error.what());
    }
}

void Operator::report(const std::vector<Receiver>& receivers)
{
    const auto sent = static_cast<std::size_t>(
        std::count_if(receivers.begin(), receivers.end(), [](const Receiver& receiver) {
            return receiver.outcome == ControlOutcome::SENT;
        }));
    std::cout << "sent to " << counted(sent) << '\n';
    for (const Receiver& receiver : receivers)
        if (receiver.outcome != ControlOutcome::SENT)
            fail(ExitStatus::NO,
                 "not sent to " + ProcessInfo{{receiver.process}, receiver.command}.text());
}

void Operator::fail(ExitStatus status, const std::string& text, std::size_t column)
{
    if (m_status == ExitStatus::DONE)
        m_status = status;
    std::cerr << "<stdin>:" + std::to_string(m_lineNumber) + ':' + std::to_string(column) +
                     ": error: " + text + '\n';
}

} // namespace Dbcsi
