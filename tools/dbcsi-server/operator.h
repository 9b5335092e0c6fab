#ifndef VARNIX_DBCSI_SERVER_OPERATOR_H
#define VARNIX_DBCSI_SERVER_OPERATOR_H

#include "endSignals.h"
#include "exitStatus.h"
#include "server.h"
#include "wordSplitter.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace Dbcsi {

/**
 * Carries out the operator's lines, one after the other: results on standard output, everything
 * else on standard error with the line's number.
 */
class Operator
{
public:
    Operator(Server& server, const EndSignals& endSignals)
        : m_server(server), m_endSignals(endSignals)
    {
    }

    /** False when the line asks for the end, or the end was signalled. */
    bool execute(std::string_view line);

    /** Exit status of the first line that failed. */
    ExitStatus status() const noexcept { return m_status; }

    /** The lines that execute understands, for people. */
    static const char* help() noexcept;

private:
    bool run(const Words& words);
    bool waitForSubscribers(const Words& words);
    bool settle(const Words& words);
    void showSettled();
    EndSignals::Wait waitUntil(const std::function<bool()>& reached,
                               std::optional<unsigned> seconds);
    void showStatus();
    void write(const Words& words);
    void fail(ExitStatus status, const std::string& text, std::size_t column = 1);
    void report(const std::vector<Receiver>& receivers);

    Server& m_server;
    const EndSignals& m_endSignals;
    std::size_t m_lineNumber = 0;
    ExitStatus m_status = ExitStatus::DONE;
};

} // namespace Dbcsi

#endif
