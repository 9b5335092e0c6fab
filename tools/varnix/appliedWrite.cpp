#include "appliedWrite.h"

#include "inspection/notInspected.h"

#include <algorithm>
#include <stdexcept>
#include <thread>
#include <utility>

namespace Varnix::Tool {

namespace {

/** A process that has not come so far is looked at again after so long, each time twice as long. */
constexpr std::chrono::microseconds firstPause{50};
constexpr std::chrono::microseconds longestPause{1000};

bool hasHandled(const Inspection::Process& process, const Handled& handled)
{
    // Twice: the first look may be at a new connection with the count of the one before.
    for (int look = 0; look < 2; ++look) {
        const Inspection::RegistryView registry = process.registry();
        if (registry.serverRef != handled.connection || registry.handledConnected < handled.writes)
            return false;
    }
    return true;
}

bool waitFor(const Inspection::Process& process, const Handled& handled,
             ValuesBefore::Clock::time_point end)
{
    for (auto pause = firstPause; !hasHandled(process, handled);
         pause = std::min(2 * pause, longestPause)) {
        if (ValuesBefore::Clock::now() >= end)
            return false;
        std::this_thread::sleep_for(pause);
    }
    return true;
}

} // namespace

ValuesBefore::ValuesBefore(std::string key) : m_key(std::move(key))
{
    for (const pid_t process : Inspection::processIds())
        try {
            see(process);
        } catch (const Inspection::NotInspected&) { // it uses no library, or after() says why
        }
}

std::optional<DbFile::Value> ValuesBefore::valueOf(const Inspection::Process& process,
                                                   const Parameter& parameter)
{
    auto parameters = process.parameters(parameter.store, parameter.places);
    if (!parameters || parameters->empty())
        return std::nullopt;
    return DbFile::Value{parameters->front().type, std::move(parameters->front().value)};
}

void ValuesBefore::see(pid_t process)
{
    std::list<Subscriber> seen;
    Subscriber& subscriber = seen.emplace_back(process);
    for (const Inspection::StoreView& store : subscriber.stores) {
        auto places = subscriber.process.find(store, {&m_key, 1});
        if (!places)
            continue; // it has dropped the database
        Parameter parameter{store, *std::move(places)};
        if (auto value = valueOf(subscriber.process, parameter))
            subscriber.databases.push_back({std::move(parameter), *std::move(value)});
    }
    m_subscribers.splice(m_subscribers.end(), seen);
}

AppliedProcess ValuesBefore::after(const Handled& handled, const Trial& trial,
                                   Clock::time_point end) const
{
    const auto found =
        std::find_if(m_subscribers.begin(), m_subscribers.end(), [&](const Subscriber& subscriber) {
            return subscriber.process.id() == handled.process;
        });
    try {
        if (found == m_subscribers.end()) {
            static_cast<void>(Inspection::Process(handled.process).registry()); // says why not
            return {.unknown = "it subscribed just now"};
        }
        if (!waitFor(found->process, handled, end))
            return {.unknown = "not applied yet"};
        return appliedIn(*found, trial);
    } catch (const std::runtime_error& error) { // it cannot be looked at
        return {.unknown = error.what()};
    }
}

AppliedProcess ValuesBefore::appliedIn(const Subscriber& subscriber, const Trial& trial) const
{
    AppliedProcess applied;
    for (const Database& database : subscriber.databases) {
        auto now = valueOf(subscriber.process, database.parameter);
        if (!now)
            continue; // it has dropped the database
        const Effect asked = trial.on(database.value);
        const bool isTaken = !asked.refusal && (*now == asked.after || *now != database.value);
        applied.databases.push_back({database.parameter.store.config,
                                     database.value,
                                     {std::move(*now), asked.refusal},
                                     isTaken});
    }
    if (applied.databases.empty() && !subscriber.databases.empty())
        applied.unknown = "it has dropped its database";
    return applied;
}

std::vector<std::string> ValuesBefore::keysOf(const std::set<pid_t>& processes) const
{
    std::set<std::string> configs;
    std::set<std::string> keys;
    for (const Subscriber& subscriber : m_subscribers)
        for (const Inspection::StoreView& store : subscriber.stores)
            try {
                if (!processes.contains(subscriber.process.id()) ||
                    !configs.insert(store.config).second)
                    continue;
                const auto parameters = subscriber.process.parameters(store);
                for (const Inspection::ParameterView& parameter :
                     parameters.value_or(std::vector<Inspection::ParameterView>()))
                    keys.insert(parameter.key);
            } catch (const Inspection::NotInspected&) { // it has ended
            }
    return {keys.begin(), keys.end()};
}

} // namespace Varnix::Tool
