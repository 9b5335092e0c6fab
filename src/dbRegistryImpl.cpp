#include "dbRegistryImpl.h"

#include "dbContainer.h"
#include "dbUtils.h"
#include "forks.h"
#include "itc_communication.h"
#include "processBarrier.h"
#include "selection.h"
#include "signalsBlocked.h"
#include "textValues.h"
#include "trace.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <new>
#include <stdexcept>
#include <variant>

#include <pthread.h>
#include <sys/single_threaded.h>

namespace Varnix::Backend {

constinit NeverDestroyed<std::unique_ptr<DbRegistryImpl>> DbRegistryImpl::m_instance;

std::mutex singletonMutex; // guards the creation of the instance, nothing else

namespace {

/** Set once the process destroys its statics: no subscription thread is started any more. */
std::atomic<bool> processEnds{false};

/**
 * Ends the registry when the process exits, before anything that the subscription thread traces
 * with: the names of the data types are made first and so are destroyed last.
 */
class EndAtExit
{
public:
    EndAtExit() noexcept
    {
        try {
            static_cast<void>(Trace::text(TypeOfData_t::UNDEFINED));
        } catch (const std::bad_alloc&) { // no reason not to load the library
        }
    }
    ~EndAtExit()
    {
        processEnds = true;
        DbRegistryImpl::freeInstance();
    }
    EndAtExit(const EndAtExit&) = delete;
    EndAtExit& operator=(const EndAtExit&) = delete;
};

const EndAtExit endAtExit;

/**
 * Runs where the library is unloaded, ahead of every static object and of the trace provider: the
 * thread must be gone before its code and its events are.
 */
[[gnu::destructor]] void endAtUnload()
{
    DbRegistryImpl::freeInstance();
}

/** Whether the thread is in getInstance; a fork keeps the lock of the thread that forks. */
[[gnu::tls_model("initial-exec")]] constinit thread_local bool insideGetInstance = false;

class Inside
{
public:
    Inside() noexcept { insideGetInstance = true; }
    ~Inside() { insideGetInstance = false; }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;
};

constexpr const char* identitiesKey = "/componentConfigId";

/** How the record of a write of numbers begins; the numbers follow. */
std::string numbersText(const std::string& key, int index)
{
    return Trace::text("updateDbs, key: ", key, ", index: ", index, ", values: ");
}

/**
 * Characters of the longest list that is traced. LTTng-UST drops a record that does not fit into
 * one sub-buffer, and no session gives each CPU sub-buffers of 512 MiB. A list that a parameter
 * could take is shorter: it has 16777215 numbers of 11 characters and a comma at most.
 */
constexpr std::size_t longestList = std::size_t{256} << 20U;

/** `text` and then `value` and a comma, `count` times. */
std::string withRepeated(std::string text, const std::string& value, std::size_t count)
{
    text.reserve(text.size() + count * (value.size() + 1));
    for (std::size_t i = 0; i < count; ++i)
        text.append(value) += ',';
    return text;
}

} // namespace

DbRegistryImpl* DbRegistryImpl::getInstance()
{
    const std::lock_guard lock(singletonMutex);
    const Inside inside;
    if (!m_instance.value)
        m_instance.value.reset(new DbRegistryImpl);
    return m_instance.value.get();
}

void DbRegistryImpl::freeInstance()
{
    const std::unique_ptr<DbRegistryImpl> instance = std::move(m_instance.value);
}

DbRegistryImpl::DbRegistryImpl() : m_prodDb(std::make_shared<DatabaseImpl>())
{
    DbContainer container;
    m_prodDbPopulated = container.loadProductionDb() && m_prodDb->populate(container);
    m_prodDb->describe({});
    Publication::begin();
    Publication::add(m_prodDb->published());
    if (__libc_single_threaded != 0)
        ProcessBarrier::prepare(); // costs nothing as long as there is no other thread
    if (!processEnds)
        startSubscription();
}

DbRegistryImpl::~DbRegistryImpl()
{
    stopSubscription();
    for (const auto& db : m_databases)
        Publication::remove(db->published());
    Publication::remove(m_prodDb->published());
    m_prodDb.reset();
}

void DbRegistryImpl::startSubscription() noexcept
{
    const SignalsBlocked inherited; // from its first instruction on, the thread handles none
    if (pthread_create(&m_subscriptionThread, nullptr, Itc_communication::dbSubscription, this) !=
        0)
        return Publication::setSubscription(Inspection::Subscription::STOPPED);
    m_threadGeneration = Forks::generation();
    pthread_setname_np(m_subscriptionThread, "varnixCmd");
}

void DbRegistryImpl::stopSubscription() noexcept
{
    if (m_threadGeneration != Forks::generation())
        return;
    pthread_cancel(m_subscriptionThread);
    pthread_join(m_subscriptionThread, nullptr);
}

/**
 * The locks that other threads held at the fork would stay locked in the child. This thread holds
 * none but perhaps singletonMutex, which it then still needs.
 */
void DbRegistryImpl::repairInChild() noexcept
{
    if (!insideGetInstance)
        std::construct_at(&singletonMutex);
    DbRegistryImpl* const registry = m_instance.value.get();
    if (registry == nullptr)
        return;
    // Another thread may have been changing the list. A child needs none: nothing is written there.
    if (!registry->m_databasesMutex.try_lock_shared())
        std::construct_at(&registry->m_databases);
    std::construct_at(&registry->m_databasesMutex);

    Publication::beginInChild();
    Publication::add(registry->m_prodDb->published());
    for (const auto& db : registry->m_databases)
        Publication::add(db->published());
}

[[maybe_unused]] const int DbRegistryImpl::m_forkHandler =
    pthread_atfork(nullptr, nullptr, repairInChild);

bool DbRegistryImpl::loadFile(const std::string& configFile, const std::string& path,
                              DatabaseImpl& db) const
{
    Trace::info([&] { return configFile + ": Populating db from file: " + path; });
    DbContainer container;
    if (container.loadSwDb(path) && db.populate(container))
        return true;
    Trace::error([&] { return "Failed to load and parse file: " + path; });
    return false;
}

std::shared_ptr<DatabaseImpl> DbRegistryImpl::initDb(const std::string& configFile)
{
    Trace::info([&] { return "Initializing database from config file: " + configFile; });
    if (!m_prodDbPopulated) {
        Trace::error([] { return "Production database has not been populated"; });
        return nullptr;
    }

    auto db = std::make_shared<DatabaseImpl>();
    std::vector<std::string> identities;
    if (m_prodDb->get(identitiesKey, identities) != DatabaseImpl::ResultCode::SUCCESS) {
        Trace::error([] {
            return std::string("The value for the \"") + identitiesKey +
                   "\" key not successfully extracted from the production database";
        });
        return nullptr;
    }
    std::vector<DBUtils::DbConfiguration> configurations;
    if (!DBUtils::parseDbConfigFile(configFile, configurations)) {
        Trace::error([&] { return "Failed to load and parse configuration file: " + configFile; });
        return nullptr;
    }

    const std::vector<std::string> paths = Selection::selectFiles(configurations, identities);
    if (paths.empty()) {
        Trace::info(
            [&] { return "ABN: No matching component_id found in config file: " + configFile; });
    }
    // From the last to the first: of a key in several files, the earliest file's value stays.
    const std::vector<std::string> loadOrder(paths.rbegin(), paths.rend());
    for (const std::string& path : loadOrder)
        if (!loadFile(configFile, path, *db))
            return nullptr;

    db->hideKeysOf(m_prodDb);
    db->describe(configFile);
    const SignalsBlocked unforked; // the lock does not survive a handler that forks
    const std::unique_lock lock(m_databasesMutex);
    m_databases.push_back(db);
    Publication::add(db->published());
    return db;
}

void DbRegistryImpl::removeDb(const std::shared_ptr<DatabaseImpl>& db)
{
    const SignalsBlocked unforked;
    const std::unique_lock lock(m_databasesMutex);
    const auto found = std::find(m_databases.begin(), m_databases.end(), db);
    if (found == m_databases.end())
        return;
    Publication::remove(db->published());
    m_databases.erase(found);
}

bool DbRegistryImpl::matchComponentElement(const std::string& pattern,
                                           const std::vector<std::string>& identities) const
{
    return Selection::matchesAny(pattern, identities);
}

template <typename Write>
void DbRegistryImpl::updateEach(const Write& write)
{
    write(*m_prodDb);
    const std::shared_lock lock(m_databasesMutex);
    for (const auto& db : m_databases)
        write(*db);
}

void DbRegistryImpl::updateDbs(const std::string& key, const std::string& value, bool append)
{
    if (const auto refusal = TextValues::textError(value)) {
        Trace::error([&] { return TextValues::describe(*refusal); });
        return;
    }
    Trace::trace1([&] {
        return Trace::text("updateDbs, key: ", key, ", append:", append, ", value: ", value);
    });
    updateEach([&](DatabaseImpl& db) { db.updateDb(key, value, append); });
}

void DbRegistryImpl::updateDbs(const std::string& key, const std::vector<std::string>& values,
                               int index)
{
    std::string list;
    for (const std::string& value : values)
        list.append(value) += ',';
    Trace::trace1([&] { return numbersText(key, index) + list; });

    const TextValues::Numbers numbers = TextValues::parseNumbers(values);
    if (numbers.error) {
        Trace::error([&] { return TextValues::describe(*numbers.error); });
        return;
    }
    const auto element = static_cast<unsigned char>(index);
    updateEach([&](DatabaseImpl& db) { db.updateDb(key, numbers.values, element); });
}

void DbRegistryImpl::updateDbs(const std::string& key, const std::string& value, int index,
                               int count)
{
    if (count < 0)
        throw std::length_error("updateDbs");
    // As a list of `count` copies, which is never made: its size is the operator's choice.
    const auto copies = static_cast<std::size_t>(count);
    if (copies * (value.size() + 1) <= longestList)
        Trace::trace1([&] { return withRepeated(numbersText(key, index), value, copies); });

    const TextValues::Number number = copies != 0 ? TextValues::parseNumber(value) : 0;
    if (const auto* const refusal = std::get_if<TextValues::Refusal>(&number)) {
        Trace::error([&] { return TextValues::describe(*refusal); });
        return;
    }
    const auto element = static_cast<unsigned char>(index);
    updateEach([&](DatabaseImpl& db) {
        db.updateDb(key, std::get<std::int64_t>(number), copies, element);
    });
}

} // namespace Varnix::Backend
