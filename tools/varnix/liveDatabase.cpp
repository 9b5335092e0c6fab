#include "liveDatabase.h"

#include "command.h"
#include "dbfile/shown.h"
#include "inspection/notInspected.h"

#include <algorithm>
#include <utility>

namespace Varnix::Tool {

namespace {

/** What `look` returns; a process that cannot be looked at is a Failure. */
template <typename Look>
auto looking(const Look& look)
{
    try {
        return look();
    } catch (const Inspection::NotInspected& error) {
        throw Failure(Status::NODE_UNUSABLE, std::string("varnix: ") + error.what());
    }
}

std::string listOf(const std::vector<Inspection::StoreView>& stores)
{
    std::string list;
    for (const Inspection::StoreView& store : stores)
        list.append("\n  ").append(DbFile::shown(store.config));
    return list;
}

Inspection::StoreView chosenFrom(std::vector<Inspection::StoreView> stores, pid_t process,
                                 const std::optional<std::string>& config)
{
    const std::string who = "varnix: process " + std::to_string(process);
    stores.erase(stores.begin()); // the production store is read before any of them
    if (stores.empty())
        throw Failure(Status::NODE_UNUSABLE, who + " has no database: it has dropped its handles");
    const std::string all = listOf(stores);
    if (config)
        stores.erase(std::remove_if(stores.begin(), stores.end(),
                                    [&](const auto& store) { return store.config != *config; }),
                     stores.end());
    else if (stores.size() > 1)
        throw Failure(Status::WRONG_USAGE,
                      who + " has several databases; choose one with --config:" + all);
    if (stores.empty())
        throw Failure(Status::WRONG_USAGE,
                      who + " has no database of " + DbFile::shown(*config) + "; it has:" + all);
    return std::move(stores.front()); // of equal ones, as they get the same writes, the oldest
}

} // namespace

LiveDatabase::LiveDatabase(pid_t process, const std::optional<std::string>& config)
    : m_process(looking([&] { return Inspection::Process(process); }))
{
    auto stores = looking([&] { return m_process.registry().stores; });
    m_production = stores.front();
    m_store = chosenFrom(std::move(stores), process, config);
}

std::map<std::string, DbFile::Value>
LiveDatabase::values(const std::vector<std::string>& keys) const
{
    std::map<std::string, DbFile::Value> values;
    for (const Inspection::StoreView* const store : {&m_production, &m_store}) {
        auto parameters = looking([&] { return m_process.parameters(*store, keys); });
        if (!parameters)
            throw Failure(Status::NODE_UNUSABLE, "varnix: process " +
                                                     std::to_string(m_process.id()) +
                                                     " dropped its database while it was read");
        for (Inspection::ParameterView& parameter : *parameters)
            values.try_emplace(std::move(parameter.key), // production comes first and wins
                               DbFile::Value{parameter.type, std::move(parameter.value)});
    }
    return values;
}

} // namespace Varnix::Tool
