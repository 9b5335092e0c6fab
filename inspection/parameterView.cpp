#include "inspection/parameterView.h"

#include "inspection/boundedMemory.h"
#include "inspection/settled.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <set>
#include <utility>

namespace Varnix::Inspection {

namespace {

constexpr std::size_t parametersAtOnce = 256;

/** The bytes of several ranges, apart; nothing where one is not there. */
std::optional<std::vector<std::string>> readApart(const Memory& memory,
                                                  const std::vector<Range>& ranges)
{
    constexpr std::uint64_t inOneGo = 1U << 20U;
    std::uint64_t total = 0;
    for (const Range& range : ranges)
        total += range.size; // cannot wrap: few sizes of 32 bits
    std::vector<std::string> parts;
    if (total > inOneGo) { // a size may be wrong: no more memory than there are bytes
        for (const Range& range : ranges) {
            auto part = memory.bytes(range);
            if (!part)
                return std::nullopt;
            parts.push_back(std::move(*part));
        }
        return parts;
    }
    std::string all(total, '\0');
    if (!memory.read(ranges, all))
        return std::nullopt;
    std::size_t at = 0;
    for (const Range& range : ranges) {
        parts.push_back(all.substr(at, range.size));
        at += range.size;
    }
    return parts;
}

std::optional<std::vector<Parameter>> recordsAt(const Memory& memory, Range range)
{
    const auto bytes = memory.bytes(range);
    if (!bytes)
        return std::nullopt;
    std::vector<Parameter> records(bytes->size() / sizeof(Parameter));
    if (!records.empty())
        std::memcpy(records.data(), bytes->data(), records.size() * sizeof(Parameter));
    return records;
}

/** Parameters of a store: where they are, and their keys. */
struct Chosen
{
    std::vector<Address> addresses;
    std::vector<std::string> keys;
};

/** Chooses from a store those parameters whose keys are wanted. */
class Choice
{
public:
    Choice(const Memory& memory, std::span<const std::string> wanted)
        : m_memory(memory), m_wanted(wanted.begin(), wanted.end())
    {
        for (const std::string& key : m_wanted)
            m_sizes.insert(key.size());
    }

    /** Keys never change, so that they need not settle. Nothing where they are not there. */
    std::optional<Chosen> from(const StoreView& store)
    {
        const auto records = recordsAt(m_memory, store.parameters);
        if (!records)
            return std::nullopt;
        for (std::size_t i = 0; i < records->size(); ++i) {
            const Parameter& record = (*records)[i];
            if (!m_wanted.empty() && !m_sizes.contains(record.keySize))
                continue;
            m_candidates.push_back(store.parameters.start + i * sizeof(Parameter));
            m_keys.push_back({record.key, record.keySize});
            if (m_keys.size() == parametersAtOnce && !takeCandidates())
                return std::nullopt;
        }
        if (!takeCandidates())
            return std::nullopt;
        return std::move(m_chosen);
    }

private:
    bool takeCandidates()
    {
        auto keys = readApart(m_memory, std::exchange(m_keys, {}));
        if (!keys)
            return false;
        for (std::size_t i = 0; i < keys->size(); ++i) {
            if (!m_wanted.empty() && !m_wanted.contains((*keys)[i]))
                continue;
            m_chosen.addresses.push_back(m_candidates[i]);
            m_chosen.keys.push_back(std::move((*keys)[i]));
        }
        m_candidates.clear();
        return true;
    }

    const Memory& m_memory;
    std::set<std::string> m_wanted;
    std::set<std::size_t> m_sizes;
    std::vector<Address> m_candidates;
    std::vector<Range> m_keys;
    Chosen m_chosen;
};

/** The types and values of the parameters at `addresses`, as they are read once. */
std::optional<std::vector<ParameterView>> valuesAt(const Memory& memory,
                                                   std::span<const Address> addresses)
{
    std::vector<Range> ranges;
    for (const Address address : addresses)
        ranges.push_back({address, sizeof(Parameter)});
    std::vector<Parameter> records(addresses.size());
    if (!memory.read(ranges,
                     {reinterpret_cast<char*>(records.data()), records.size() * sizeof(Parameter)}))
        return std::nullopt;
    ranges.clear();
    for (const Parameter& record : records) // a value that could not be allocated has no bytes
        ranges.push_back({record.value, record.value != 0 ? record.valueSize : 0});
    auto values = readApart(memory, ranges);
    if (!values)
        return std::nullopt;
    std::vector<ParameterView> views;
    for (std::size_t i = 0; i < records.size(); ++i)
        views.push_back({{}, records[i].type, std::move((*values)[i])});
    return views;
}

} // namespace

std::optional<std::vector<ParameterView>> readParameters(const Memory& process, Address root,
                                                         const StoreView& store,
                                                         std::span<const std::string> keys)
{
    const BoundedMemory memory(process);
    auto chosen = Choice(memory, keys).from(store);
    if (!chosen)
        return std::nullopt;
    const Address changes = store.address + offsetof(Store, changes);
    std::vector<ParameterView> views;
    std::size_t atOnce = parametersAtOnce;
    Patience patience;
    while (views.size() < chosen->addresses.size()) {
        const std::size_t count = std::min(atOnce, chosen->addresses.size() - views.size());
        const auto part = std::span(chosen->addresses).subspan(views.size(), count);
        auto values = readSettled(memory, changes, [&] { return valuesAt(memory, part); });
        if (!values) {
            if (!isRegistered(memory, root, store))
                return std::nullopt;
            atOnce = std::max<std::size_t>(1, atOnce / 2); // less is sooner read between writes
            patience.wait();
            continue;
        }
        for (ParameterView& view : *values) {
            view.key = std::move(chosen->keys[views.size()]);
            views.push_back(std::move(view));
        }
        patience = {};
    }
    // Had the store gone meanwhile, its memory might have held anything.
    return isRegistered(memory, root, store) ? std::optional(std::move(views)) : std::nullopt;
}

} // namespace Varnix::Inspection
