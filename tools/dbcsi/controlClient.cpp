#include "controlClient.h"

#include "mailbox.h"
#include "packet.h"

#include <algorithm>
#include <atomic>
#include <future>
#include <utility>

#include <dbcsiMessages.h>
#include <unistd.h>

namespace Dbcsi {
namespace {

using Clock = std::chrono::steady_clock;

/** A live server is found at once; this is for a loaded machine. */
constexpr std::chrono::milliseconds searchLimit{250};

/** Several threads of a process may ask at once. */
std::uint32_t nextNumber()
{
    static std::atomic<std::uint32_t> last{0};
    return ++last;
}

std::chrono::milliseconds until(Clock::time_point end)
{
    return std::max(std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()),
                    std::chrono::milliseconds(0));
}

std::uint32_t findServer()
{
    Mailbox::locate(serverMailboxName, Mailbox::allocate(sizeof(PlainAnswer), DBCSI_LOCATE_IND));
    const Mailbox::Message found = Mailbox::receive(searchLimit);
    if (!found)
        throw ServerUnavailable("no subscription server runs here");
    return Mailbox::senderOf(found);
}

/** The answer to our request; what else may come is not for us. */
std::vector<Receiver> receiversIn(const Mailbox::Message& answer)
{
    if (answer->msgno == DBCSI_CONTROL_WRITE_REJ)
        throw WriteRefused(decodeRejection(Mailbox::bytesOf(answer)));
    return decodeConfirmation(Mailbox::bytesOf(answer)).receivers;
}

bool answers(const Mailbox::Message& message, std::uint32_t reference)
{
    return (message->msgno == DBCSI_CONTROL_WRITE_CFM ||
            message->msgno == DBCSI_CONTROL_WRITE_REJ) &&
           Mailbox::wordAt(message, sizeof(std::uint32_t)) == reference;
}

std::vector<Receiver> exchange(const Words& words, std::chrono::milliseconds limit)
{
    const Clock::time_point end = Clock::now() + limit;
    const std::uint32_t reference = nextNumber();
    const std::string name =
        "dbcsiControl" + std::to_string(::getpid()) + "-" + std::to_string(reference);
    if (!Mailbox::initialise(1) || Mailbox::create(name.c_str()) == ITC_NO_MBOX_ID)
        throw ServerUnavailable(
            "mailboxes cannot be used here; VARNIX_ITC_DIR may name another directory");
    Mailbox::Message request =
        Mailbox::fromBytes(encode(WriteRequest{controlVersion, reference, words}));
    const std::uint32_t server = findServer();
    Mailbox::monitor(server, Mailbox::allocate(sizeof(ServerDownInd), DBCSI_SERVER_DOWN_IND));
    if (!Mailbox::send(std::move(request), server))
        throw ServerUnavailable("the subscription server cannot be reached");
    while (const Mailbox::Message message = Mailbox::receive(until(end))) {
        if (answers(message, reference))
            return receiversIn(message);
        if (message->msgno == DBCSI_SERVER_DOWN_IND)
            throw ServerUnavailable("the subscription server ended before it answered");
    }
    throw ServerUnavailable("the subscription server does not answer");
}

} // namespace

std::vector<Receiver> writeThroughServer(const Words& words, std::chrono::milliseconds limit)
{
    try {
        return std::async(std::launch::async, exchange, words, limit).get();
    } catch (const Mailbox::TooLarge& error) {
        throw WriteRefused({0, ControlRefusal::INVALID, error.what()});
    } catch (const MalformedMessage&) {
        throw ServerUnavailable("the subscription server gives an answer that cannot be read");
    }
}

} // namespace Dbcsi
