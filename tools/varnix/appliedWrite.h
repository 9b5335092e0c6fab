#ifndef VARNIX_TOOL_APPLIEDWRITE_H
#define VARNIX_TOOL_APPLIEDWRITE_H

#include "dbfile/store.h"
#include "inspection/process.h"
#include "trial.h"

#include <chrono>
#include <cstdint>
#include <list>
#include <optional>
#include <set>
#include <string>
#include <vector>

/** What a write did to the processes that it went to, learnt by looking at them. */
namespace Varnix::Tool {

/** What became of the parameter in one database. */
struct AppliedDatabase
{
    std::string config; ///< empty for the production database
    DbFile::Value before;
    /** What it holds now; its refusal is what the write's own trial says. */
    Effect effect;
    /** Whether it holds what the write asked for, or has changed at least. */
    bool isTaken = false;

    bool isUnchanged() const { return !effect.refusal && effect.after == before; }
};

/** What became of the write in one process. */
struct AppliedProcess
{
    /** The databases that hold the key. */
    std::vector<AppliedDatabase> databases = {};
    /** Why nothing is known of them. */
    std::optional<std::string> unknown = {};
};

/** How far a process must have come to have handled a write. */
struct Handled
{
    pid_t process;
    std::uint32_t connection;
    std::uint64_t writes; ///< over it
};

/** The values of one key in all processes that have a registry. */
class ValuesBefore
{
public:
    using Clock = std::chrono::steady_clock;

    /** Looks at them now. */
    explicit ValuesBefore(std::string key);

    /** Waits until `end` at most for the process, and says what `trial`'s write did. */
    AppliedProcess after(const Handled& handled, const Trial& trial, Clock::time_point end) const;

    /** The keys that these processes have; of databases with equal configuration files once. */
    std::vector<std::string> keysOf(const std::set<pid_t>& processes) const;

private:
    /** The parameter in one database. */
    struct Parameter
    {
        Inspection::StoreView store;
        std::vector<Inspection::ParameterPlace> places; ///< none where the database lacks it
    };
    struct Database
    {
        Parameter parameter;
        DbFile::Value value;
    };
    struct Subscriber
    {
        explicit Subscriber(pid_t id) : process(id), stores(process.registry().stores) {}

        Inspection::Process process;
        std::vector<Inspection::StoreView> stores;
        std::vector<Database> databases = {}; ///< those that hold the key
    };

    static std::optional<DbFile::Value> valueOf(const Inspection::Process& process,
                                                const Parameter& parameter);
    void see(pid_t process);
    AppliedProcess appliedIn(const Subscriber& subscriber, const Trial& trial) const;

    std::string m_key;
    std::list<Subscriber> m_subscribers;
};

} // namespace Varnix::Tool

#endif
