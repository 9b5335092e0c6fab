#include "publication.h"

#include <atomic>

extern "C" {
constinit Varnix::Inspection::Root varnixInspectionRoot{};
}

namespace Varnix::Backend {

namespace {

/** The list's ends; PublishedStore has the links. */
PublishedStore* firstStore = nullptr;
PublishedStore* lastStore = nullptr;
std::uint64_t lastSerial = 0;

// publicationNote.c leads a tool here.
constinit Inspection::Root& root = varnixInspectionRoot;

template <typename T>
void set(T& word, T value) noexcept
{
    // Whoever sees it also sees what was stored before it.
    std::atomic_ref(word).store(value, std::memory_order_release);
}

void beginChange(std::uint64_t& changes) noexcept
{
    // What changes afterwards is not seen before this: the acquire holds it back.
    std::atomic_ref(changes).fetch_add(1, std::memory_order_acq_rel);
}

void endChange(std::uint64_t& changes) noexcept
{
    std::atomic_ref(changes).store(changes + 1, std::memory_order_release);
}

/** A counter of changes, of which none is going on. */
std::uint64_t nextEven(std::uint64_t changes) noexcept
{
    return (changes + 1) / 2 * 2;
}

Inspection::Address addressOf(const void* object) noexcept
{
    return reinterpret_cast<Inspection::Address>(object);
}

} // namespace

void PublishedStore::describe(const std::string& config, const void* parameters, std::size_t count)
{
    m_config = config;
    m_shown.config = addressOf(m_config.data());
    m_shown.configSize = m_config.size();
    m_shown.parameters = addressOf(parameters);
    m_shown.parameterCount = count;
}

PublishedStore::Change::Change(PublishedStore& store) noexcept : m_changes(store.m_shown.changes)
{
    beginChange(m_changes);
}

PublishedStore::Change::~Change()
{
    endChange(m_changes);
}

void Publication::add(PublishedStore& store) noexcept
{
    beginChange(root.changes);
    store.m_shown.serial = ++lastSerial;
    store.m_shown.changes = nextEven(store.m_shown.changes);
    store.m_shown.next = 0;
    store.m_next = nullptr;
    store.m_previous = lastStore;
    set(lastStore != nullptr ? lastStore->m_shown.next : root.firstStore,
        addressOf(&store.m_shown));
    (lastStore != nullptr ? lastStore->m_next : firstStore) = &store;
    lastStore = &store;
    set(root.storeCount, root.storeCount + 1);
    endChange(root.changes);
}

void Publication::remove(PublishedStore& store) noexcept
{
    if (store.m_shown.serial == 0)
        return;
    beginChange(root.changes);
    PublishedStore* const previous = store.m_previous;
    PublishedStore* const next = store.m_next;
    set(previous != nullptr ? previous->m_shown.next : root.firstStore, store.m_shown.next);
    (previous != nullptr ? previous->m_next : firstStore) = next;
    (next != nullptr ? next->m_previous : lastStore) = previous;
    store.m_previous = store.m_next = nullptr;
    store.m_shown.next = 0;
    store.m_shown.serial = 0;
    set(root.storeCount, root.storeCount - 1);
    endChange(root.changes);
}

void Publication::begin() noexcept
{
    set(root.handled, std::uint64_t{0});
    set(root.handledConnected, std::uint64_t{0});
    set(root.serverRef, std::uint32_t{0});
    setSubscription(Inspection::Subscription::NO_MAILBOX);
}

void Publication::beginInChild() noexcept
{
    firstStore = lastStore = nullptr;
    set(root.firstStore, Inspection::Address{0});
    set(root.storeCount, std::uint64_t{0});
    set(root.changes, nextEven(root.changes));
    setSubscription(Inspection::Subscription::STOPPED);
}

void Publication::setSubscription(Inspection::Subscription state) noexcept
{
    set(root.subscription, static_cast<std::uint32_t>(state));
}

void Publication::subscribed(std::uint32_t serverRef) noexcept
{
    if (serverRef != root.serverRef)
        set(root.handledConnected, std::uint64_t{0});
    set(root.serverRef, serverRef);
    setSubscription(Inspection::Subscription::SUBSCRIBED);
}

void Publication::countHandled() noexcept
{
    set(root.handled, root.handled + 1);
    set(root.handledConnected, root.handledConnected + 1);
}

} // namespace Varnix::Backend
