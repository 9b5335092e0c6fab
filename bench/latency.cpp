#include "bench/node.h"
#include "bench/report.h"

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

#include <dbcsiMessages.h>
#include <itc.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <varnix/dbRegistryIf.h>

// How long a write takes from the server's send to a reader in another process: the server writes
// the time of the send, and the reader compares it with its own clock.

namespace Varnix::Bench {

namespace {

using namespace Dbcsi;

constexpr std::size_t sampleCount = 2000;
constexpr Value stamp{"stamp", 6, 8}; // two U32: the upper and the lower half of a time

std::uint64_t now()
{
    return static_cast<std::uint64_t>(
        std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count());
}

void answer(itc_msg* request, MessageNumber number, std::size_t size)
{
    itc_msg* reply = __itc_alloc(size, number, "", 0);
    __itc_send(&reply, __itc_sender(request, "", 0), ITC_MY_MBOX_ID, "", 0);
}

void sendStamp(std::uint32_t subscriber)
{
    const std::uint64_t time = now();
    const std::vector<std::string> words{"db", "write", keyOf(0), std::to_string(time >> 32U),
                                         std::to_string(time & 0xFFFFFFFFU)};
    std::string packed;
    for (const std::string& word : words)
        packed += word + '\0';
    itc_msg* message = __itc_alloc(dbWriteIndArgvOffset + packed.size(), DBCSI_DBWRITE_IND, "", 0);
    auto* const bytes = reinterpret_cast<char*>(message);
    const auto argc = static_cast<std::uint32_t>(words.size());
    std::memcpy(bytes + offsetof(DbWriteInd, argc), &argc, sizeof argc);
    std::memcpy(bytes + dbWriteIndArgvOffset, packed.data(), packed.size());
    __itc_send(&message, subscriber, ITC_MY_MBOX_ID, "", 0);
}

/** The least that a subscription server does; then a write a millisecond, until it is killed. */
[[noreturn]] void serve()
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    __itc_init(1, 0, nullptr, nullptr, 0, "", 0);
    __itc_create_mailbox(serverMailboxName, 0, "", 0);
    std::uint32_t subscriber = ITC_NO_MBOX_ID;
    for (;;) {
        const std::uint32_t pause = subscriber == ITC_NO_MBOX_ID ? ITC_NO_TMO : 1;
        itc_msg* message = __itc_receive(nullptr, pause, ITC_FROM_ALL, "", 0);
        if (message == nullptr) {
            sendStamp(subscriber);
            continue;
        }
        if (message->msgno == DBCSI_CONN_ESTABLISH_REQ)
            answer(message, DBCSI_CONN_ESTABLISH_CFM, sizeof(ConnEstablishCfm));
        if (message->msgno == DBCSI_SUBSCRIBE_REQ) {
            answer(message, DBCSI_SUBSCRIBE_CFM, sizeof(PlainAnswer));
            subscriber = __itc_sender(message, "", 0);
        }
        __itc_free(&message, "", 0);
    }
}

void measure(benchmark::State& state, const V1::DatabaseIf& database)
{
    std::vector<std::int64_t> samples;
    std::vector<std::uint32_t> halves;
    database.get(keyOf(0), halves);
    for (auto _ : state) {
        std::vector<std::uint32_t> seen = halves;
        while (samples.size() < sampleCount) {
            database.get(keyOf(0), halves);
            if (halves == seen)
                continue;
            const std::uint64_t sent = std::uint64_t{halves[0]} << 32U | halves[1];
            samples.push_back(static_cast<std::int64_t>(now() - sent));
            seen = halves;
        }
    }
    reportDistribution(state, samples);
}

} // namespace

} // namespace Varnix::Bench

int main(int argc, char** argv)
{
    using namespace Varnix;
    using namespace Varnix::Bench;

    const Node node;
    node.writeProduction({});
    const std::string file = node.writeDatabase("stamp.db", {stamp, 1});
    const std::string config = node.writeConfig("stamp.cfg", {file});
    const pid_t server = ::fork();
    if (server == 0)
        serve();

    const auto database = V1::DbRegistryIf::getInstance().initDb(config);
    if (!database)
        return 1;
    benchmark::RegisterBenchmark("latency/write",
                                 [&](benchmark::State& state) { measure(state, *database); })
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
    const int status = runBenchmarks(argc, argv);
    ::kill(server, SIGKILL);
    ::waitpid(server, nullptr, 0);
    return status;
}
