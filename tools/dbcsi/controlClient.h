#ifndef VARNIX_DBCSI_CONTROLCLIENT_H
#define VARNIX_DBCSI_CONTROLCLIENT_H

#include "control.h"
#include "words.h"

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

namespace Dbcsi {

/** There is no server, it ended, or it does not answer. */
class ServerUnavailable : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/** The server sent the words to nobody; what() says why. */
class WriteRefused : public std::runtime_error
{
public:
    explicit WriteRefused(const WriteRejection& rejection)
        : std::runtime_error(rejection.text), m_refusal(rejection.refusal)
    {
    }
    ControlRefusal refusal() const noexcept { return m_refusal; }

private:
    ControlRefusal m_refusal;
};

/**
 * Hands an operator's words to the running server, which sends them to its subscribers. Returns
 * those, in the order of their connection, when the words have been sent; that they were handled is
 * not known then.
 *
 * Waits at most `limit` for the answer, and hardly at all where there is no server. Any thread may
 * call it, also one that owns a mailbox: it runs in a thread of its own. Throws ServerUnavailable,
 * WriteRefused, and what the standard library throws when memory or threads run out.
 */
std::vector<Receiver> writeThroughServer(const Words& words, std::chrono::milliseconds limit);

} // namespace Dbcsi

#endif
