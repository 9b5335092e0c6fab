#include "mailboxRound.h"

#include <cerrno>
#include <optional>

#include <gtest/gtest.h>
#include <itc.h>
#include <pthread.h>
#include <sys/resource.h>

namespace Varnix::Test {

namespace {

constexpr std::uint32_t located = 1;
constexpr std::uint32_t ping = 2;
constexpr std::uint32_t pong = 3;
constexpr std::uint32_t makeMortal = 4;
constexpr std::uint32_t die = 6;
constexpr std::uint32_t down = 7;
constexpr std::uint32_t self = 8;

/** The result of an operation, which is tried once more where memory was short. */
template <typename Work>
auto triedTwice(const Work& work)
{
    errno = 0;
    const auto result = work();
    return errno == ENOMEM ? work() : result;
}

std::uint32_t create(const char* name)
{
    return triedTwice([name] { return __itc_create_mailbox(name, 0, __FILE__, __LINE__); });
}

void init()
{
    triedTwice([] { return __itc_init(1, 0, nullptr, nullptr, 0, __FILE__, __LINE__); });
}

itc_msg* alloc(std::uint32_t number)
{
    itc_msg* const message = __itc_alloc(sizeof number, number, __FILE__, __LINE__);
    return message != nullptr ? message : __itc_alloc(sizeof number, number, __FILE__, __LINE__);
}

void send(std::uint32_t to, std::uint32_t number)
{
    itc_msg* message = alloc(number);
    __itc_send(&message, to, ITC_MY_MBOX_ID, __FILE__, __LINE__);
    __itc_free(&message, __FILE__, __LINE__);
}

void locate(const char* name)
{
    itc_msg* message = alloc(located);
    __itc_locate_async(name, &message, ITC_MY_MBOX_ID, __FILE__, __LINE__);
    __itc_free(&message, __FILE__, __LINE__);
}

/** The sender of the next message with that number, if one comes in time. */
std::optional<std::uint32_t> receive(std::uint32_t number, std::uint32_t timeout)
{
    const std::uint32_t filter[] = {1, number};
    itc_msg* message = __itc_receive(filter, timeout, ITC_FROM_ALL, __FILE__, __LINE__);
    if (message == nullptr)
        return std::nullopt;
    const std::uint32_t sender = __itc_sender(message, __FILE__, __LINE__);
    __itc_free(&message, __FILE__, __LINE__);
    return sender;
}

/** Ends at the first message, or for want of one. */
void* mortal(void*)
{
    if (create("mortal") != ITC_NO_MBOX_ID)
        receive(die, 10 * impatient);
    return nullptr;
}

void runMortal()
{
    pthread_t thread{};
    ASSERT_EQ(::pthread_create(&thread, nullptr, mortal, nullptr), 0);
    ::pthread_join(thread, nullptr);
}

std::uint64_t processorMicroseconds()
{
    rusage usage{};
    ::getrusage(RUSAGE_THREAD, &usage);
    return static_cast<std::uint64_t>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1'000'000 +
           static_cast<std::uint64_t>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

} // namespace

void serve()
{
    init();
    create("server");
    for (;;) {
        itc_msg* message = __itc_receive(nullptr, ITC_NO_TMO, ITC_FROM_ALL, __FILE__, __LINE__);
        const std::uint32_t number = message->msgno;
        const std::uint32_t client = __itc_sender(message, __FILE__, __LINE__);
        __itc_free(&message, __FILE__, __LINE__);
        if (number == ping)
            send(client, pong);
        else if (number == makeMortal)
            runMortal();
    }
}

void Round::run()
{
    init();
    if (create("client of the mailbox library") == ITC_NO_MBOX_ID)
        return;
    ++done;
    send(ITC_MY_MBOX_ID, self);
    done += receive(self, timeout) ? 1U : 0U;

    locate("server");
    const auto server = receive(located, timeout);
    if (server)
        talkTo(*server);
    waitForNothing();
}

void Round::talkTo(std::uint32_t server)
{
    ++done;
    for (int i = 0; i < 2; ++i) { // over a connection that is new, and one that is not
        send(server, ping);
        done += receive(pong, timeout) ? 1U : 0U;
    }
    locate("mortal"); // most often before there is one
    send(server, makeMortal);
    const auto made = receive(located, timeout);
    if (!made)
        return;
    ++done;
    itc_msg* message = alloc(down);
    __itc_monitor(*made, &message, __FILE__, __LINE__);
    __itc_free(&message, __FILE__, __LINE__);
    send(*made, die);
    done += receive(down, timeout) ? 1U : 0U;
}

void Round::waitForNothing()
{
    const std::uint64_t before = processorMicroseconds();
    receive(self, impatient);
    busy = processorMicroseconds() - before > impatient * 1000 / 2;
}

Round round(std::uint32_t timeout)
{
    Round result{timeout};
    pthread_t thread{};
    const auto body = [](void* work) -> void* {
        static_cast<Round*>(work)->run();
        return nullptr;
    };
    if (::pthread_create(&thread, nullptr, body, &result) == 0)
        ::pthread_join(thread, nullptr);
    return result;
}

} // namespace Varnix::Test
