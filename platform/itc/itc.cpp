// Everything else of the library is hidden.
#pragma GCC visibility push(default)
#include "itc.h"

#include "host/itcHost.h"
#pragma GCC visibility pop

#include "process.h"
#include "report.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <exception>
#include <limits>
#include <string>

using namespace Itc;

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t eventsAtOnce = 64;

/**
 * Runs one operation; what goes wrong in it is reported, and the answer is then `failure`. Where it
 * was for want of memory, errno says so: it may be tried again.
 */
template <typename Answer, typename Work>
Answer operate(const char* file, int line, Answer failure, Work work)
{
    try {
        Operation operation;
        return work(Process::instance(), operation);
    } catch (const std::exception& error) {
        report(file, line, error);
        if (mayPass(error))
            errno = ENOMEM;
        return failure;
    }
}

/** As above, for what returns nothing. */
template <typename Work>
void operate(const char* file, int line, Work work)
{
    operate(file, line, 0, [&](Process& process, Operation&) {
        work(process);
        return 0;
    });
}

/** Milliseconds to wait for at most, rounded up. */
class Deadline
{
public:
    explicit Deadline(std::uint32_t milliseconds)
        : m_endless(milliseconds == ITC_NO_TMO),
          m_end(Clock::now() + std::chrono::milliseconds(m_endless ? 0 : milliseconds))
    {
    }

    int remaining() const
    {
        if (m_endless)
            return -1;
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(m_end - Clock::now()).count();
        return static_cast<int>(std::clamp<long long>(left, 0, std::numeric_limits<int>::max()));
    }

private:
    bool m_endless;
    Clock::time_point m_end;
};

/** The smaller of two times to wait, where -1 is for ever. */
int earlier(int one, int other)
{
    return one < 0 ? other : other < 0 ? one : std::min(one, other);
}

MessagePtr receive(Process& process, Mailbox& mailbox, const Selection& selection,
                   const Deadline& deadline, Operation& operation)
{
    std::array<epoll_event, eventsAtOnce> events;
    if (mailbox.retry().isOwed())
        mailbox.catchUp();
    while (!mailbox.isRefused()) {
        process.flush();
        if (MessagePtr taken = mailbox.take(selection))
            return taken;
        const int remaining = deadline.remaining();
        std::size_t count = 0;
        if (mailbox.retry().isOwed()) {
            // What is owed would be reported without end.
            operation.pause(earlier(remaining, mailbox.retry().remaining()));
            if (mailbox.retry().isDue())
                mailbox.catchUp();
        } else {
            const int pending = earlier(process.untilFlush(), mailbox.untilAccept());
            count = operation.wait(mailbox.events(), events, earlier(remaining, pending));
            mailbox.handle({events.data(), count});
        }
        if (remaining == 0 && count < events.size())
            return mailbox.take(selection);
    }
    process.endOwn();
    return nullptr;
}

/** Says that a message is too long, and whose it was. */
bool fits(Message& message, const char* file, int line)
{
    if (message.size >= minMessageSize && message.size <= maxMessageSize)
        return true;
    report(file, line,
           ("message " + std::to_string(message.number()) + " of " + std::to_string(message.size) +
            " bytes is dropped: the limit is " + std::to_string(maxMessageSize))
               .c_str());
    return false;
}

} // namespace

int __itc_init(int32_t, int, void*, char*, uint32_t, const char* file, int line)
{
    return operate(file, line, -1, [&](Process& process, Operation&) {
        if (process.isInitialised())
            return ITC_ALREADY_INITIALISED;
        process.initialise(file, line);
        return 0;
    });
}

uint32_t __itc_create_mailbox(const char* name, uint32_t, const char* file, int line)
{
    return operate(file, line, ITC_NO_MBOX_ID, [&](Process& process, Operation&) {
        const Mailbox* const made = name != nullptr ? process.create(name) : nullptr;
        return made != nullptr ? made->id() : ITC_NO_MBOX_ID;
    });
}

void __itc_locate_async(const char* name, union itc_msg** msg, uint32_t reply_to, const char* file,
                        int line)
{
    MessagePtr message = takeOver(msg);
    operate(file, line, [&](Process& process) {
        Mailbox* const mine = process.own();
        if (!message || name == nullptr)
            return;
        const std::uint32_t receiver = process.resolve(reply_to);
        if (mine != nullptr && receiver == mine->id())
            mine->locate(name, std::move(message));
        else if (fits(*message, file, line))
            process.send(
                Frame{FrameKind::LOCATE, process.resolve(ITC_MY_MBOX_ID), name, message->bytes()},
                receiver);
    });
}

union itc_msg* __itc_alloc(size_t size, uint32_t msgno, const char*, int)
{
    MessagePtr message = makeMessage(std::max(size, minMessageSize));
    if (message)
        message->body()->msgno = msgno;
    return handOut(std::move(message));
}

void __itc_send(union itc_msg** msg, uint32_t to, uint32_t from, const char* file, int line)
{
    static_cast<void>(__itc_host_send(msg, to, from, file, line));
}

union itc_msg* __itc_receive(const uint32_t* filter, uint32_t timeout, uint32_t from,
                             const char* file, int line)
{
    return operate(file, line, static_cast<itc_msg*>(nullptr),
                   [&](Process& process, Operation& operation) -> itc_msg* {
                       operation.offerCancellation();
                       Mailbox* const mine = process.own();
                       if (mine == nullptr)
                           return nullptr;
                       Selection selection{{}, process.resolve(from)};
                       if (filter != nullptr)
                           selection.numbers = {filter + 1, *filter};
                       return handOut(
                           receive(process, *mine, selection, Deadline(timeout), operation));
                   });
}

uint32_t __itc_sender(union itc_msg* msg, const char*, int)
{
    return msg != nullptr ? Message::of(msg).sender : ITC_NO_MBOX_ID;
}

uint32_t __itc_monitor(uint32_t mailbox, union itc_msg** msg, const char* file, int line)
{
    MessagePtr message = takeOver(msg);
    return operate(file, line, std::uint32_t{0}, [&](Process& process, Operation&) {
        Mailbox* const mine = process.own();
        if (!message || mine == nullptr)
            return std::uint32_t{0};
        return mine->monitor(process.resolve(mailbox), std::move(message));
    });
}

void __itc_free(union itc_msg** msg, const char*, int)
{
    takeOver(msg).reset();
}

size_t __itc_host_size(union itc_msg* msg)
{
    return msg != nullptr ? Message::of(msg).size : 0;
}

int __itc_host_send(union itc_msg** msg, uint32_t to, uint32_t from, const char* file, int line)
{
    MessagePtr message = takeOver(msg);
    return operate(file, line, 0, [&](Process& process, Operation&) {
        if (!message || !fits(*message, file, line))
            return 0;
        Mailbox* const mine = process.own();
        const std::uint32_t receiver = process.resolve(to);
        const std::uint32_t sender = process.resolve(from);
        message->sender = sender;
        if (mine == nullptr || receiver != mine->id())
            return process.send(std::move(message), receiver) ? 1 : 0;
        mine->enqueue(std::move(message), sender);
        return 1;
    });
}

int __itc_host_peer(uint32_t mailbox, struct itc_host_peer* peer, const char* file, int line)
{
    return operate(file, line, 0, [&](Process& process, Operation&) {
        const std::shared_ptr<Link> link = process.link(process.resolve(mailbox));
        if (!link)
            return 0;
        *peer = {link->process(), link->waiting()};
        return 1;
    });
}
