#include "command.h"
#include "document.h"
#include "endingSignals.h"
#include "reading.h"
#include "usage.h"

#include <chrono>
#include <csignal>
#include <cstdint>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include <CLI/Validators.hpp>
#include <nlohmann/json.hpp>

namespace Varnix::Tool {

namespace {

using RetCode = V1::DatabaseIf::RetCode;
using Milliseconds = std::chrono::milliseconds;

struct WatchOptions
{
    bool json = false;
    std::uint32_t every = 100; ///< milliseconds
    /** After how many changes to end; none: by a signal alone. */
    std::optional<std::uint64_t> count;
    Target target;
};

/** The signals by which a user ends the command. While it lives they do not end the process. */
class EndSignals
{
public:
    EndSignals() = default;
    ~EndSignals() { ::pthread_sigmask(SIG_SETMASK, &m_blocked.before, nullptr); }
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

    /** Waits for so long at most; whether one came. */
    bool comeWithin(Milliseconds time) const
    {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
        const timespec limit{static_cast<time_t>(seconds.count()),
                             static_cast<long>(std::chrono::nanoseconds(time - seconds).count())};
        return ::sigtimedwait(&m_blocked.awaited, nullptr, &limit) > 0;
    }

private:
    const EndingSignals::Blocked m_blocked = EndingSignals::block();
};

/** The keys' values, each printed when it is another than before. */
class Watch
{
public:
    explicit Watch(const WatchOptions& options)
        : m_options(options), m_database(openDatabase(options.target.config.value()))
    {
        for (const std::string& key : options.target.keys)
            requireFound(readValue(*m_database, key, m_values.emplace_back()), options.target, key);
    }

    void showAll() const
    {
        for (std::size_t i = 0; i < m_values.size(); ++i)
            show(i);
    }

    /** Shows at most `most` changes; how many there were. */
    std::uint64_t showChanges(std::uint64_t most)
    {
        std::uint64_t changes = 0;
        for (std::size_t i = 0; i < m_values.size() && changes < most; ++i) {
            ClientValue now;
            if (readValue(*m_database, m_options.target.keys[i], now) != RetCode::OK ||
                now.data == m_values[i].data)
                continue;
            m_values[i] = std::move(now);
            show(i);
            ++changes;
        }
        return changes;
    }

private:
    void show(std::size_t index) const
    {
        const std::string& key = m_options.target.keys[index];
        if (m_options.json)
            printLine(documentOf(key, m_values[index]));
        else
            std::cout << lineOf(key, m_values[index]) << '\n';
    }

    const WatchOptions& m_options;
    const std::shared_ptr<V1::DatabaseIf> m_database;
    std::vector<ClientValue> m_values;
};

Status watch(const WatchOptions& options)
{
    Watch watched(options);
    const EndSignals signals;
    watched.showAll();
    std::uint64_t left = options.count.value_or(std::numeric_limits<std::uint64_t>::max());
    while (left > 0 && std::cout.flush() && !signals.comeWithin(Milliseconds(options.every)))
        left -= watched.showChanges(left);
    return Status::DONE; // what could not be written is reported at the end
}

} // namespace

void addWatch(CLI::App& app, Status& status)
{
    const auto options = std::make_shared<WatchOptions>();
    CLI::App* const command = app.add_subcommand(
        "watch", "Show values as a client process on this node reads them, and their changes");
    command->add_flag("--json", options->json, "Print one JSON document a line");
    command
        ->add_option("--every", options->every,
                     "How often to look, in milliseconds; 100 unless given")
        ->type_name("MS")
        ->check(positiveNumber());
    command->add_option("--count", options->count, "End after so many changes")
        ->type_name("N")
        ->check(positiveNumber());
    command->add_option("config", options->target.config, "The component's configuration file")
        ->type_name("CONFIG")
        ->required();
    command->add_option("keys", options->target.keys, "The keys")->type_name("KEY")->required();
    command->footer("SIGINT, SIGTERM and SIGHUP end it with status 0.");
    command->callback([options, &status] { status = watch(*options); });
}

} // namespace Varnix::Tool
