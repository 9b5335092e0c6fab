#include "inspection/parameterView.h"

#include "inspection/boundedMemory.h"
#include "inspection/settled.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <set>
#include <string_view>
#include <utility>

namespace Varnix::Inspection {

namespace {

constexpr std::size_t valuesAtOnce = 256;

/** The bytes of several ranges, one after the other. */
class Parts
{
public:
    /** Reads them; whether all of them are there. */
    bool read(const Memory& memory, std::span<const Range> ranges)
    {
        constexpr std::uint64_t inOneGo = 1U << 20U;
        m_ends.clear();
        std::uint64_t total = 0; // cannot wrap: few sizes of 32 bits
        for (const Range& range : ranges)
            m_ends.push_back(total += range.size);
        if (total <= inOneGo) {
            m_bytes.resize(total);
            return memory.read(ranges, m_bytes);
        }
        m_bytes.clear();
        return std::all_of(ranges.begin(), ranges.end(), [&](const Range& range) {
            const auto part = memory.bytes(range); // a size may be wrong: takes no memory for it
            m_bytes += part.value_or("");
            return part.has_value();
        });
    }

    std::string_view operator[](std::size_t part) const
    {
        const std::uint64_t start = part == 0 ? 0 : m_ends[part - 1];
        return std::string_view(m_bytes).substr(start, m_ends[part] - start);
    }

private:
    std::string m_bytes;
    std::vector<std::uint64_t> m_ends;
};

/** Chooses from a store those parameters whose keys are wanted; all of them if none is. */
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
    std::optional<std::vector<ParameterPlace>> from(const StoreView& store)
    {
        for (std::uint64_t at = 0; at < store.parameterCount; at += parametersAtOnce) {
            const std::uint64_t count = std::min(store.parameterCount - at, parametersAtOnce);
            if (!chooseFrom(store.parameters.start + at * sizeof(Parameter), count))
                return std::nullopt;
        }
        return std::move(m_chosen);
    }

private:
    static constexpr std::uint64_t parametersAtOnce = 4096;

    /** Chooses from so many parameters at an address; whether all of them are there. */
    bool chooseFrom(Address start, std::uint64_t count)
    {
        m_records.resize(count);
        const Range range{start, count * sizeof(Parameter)};
        if (!m_memory.read({&range, 1}, {reinterpret_cast<char*>(m_records.data()), range.size}))
            return false;
        m_candidates.clear();
        m_ranges.clear();
        for (std::size_t i = 0; i < m_records.size(); ++i) {
            if (!m_wanted.empty() && !m_sizes.contains(m_records[i].keySize))
                continue;
            m_candidates.push_back(start + i * sizeof(Parameter));
            m_ranges.push_back({m_records[i].key, m_records[i].keySize});
        }
        if (!m_keys.read(m_memory, m_ranges))
            return false;
        for (std::size_t i = 0; i < m_candidates.size(); ++i)
            if (m_wanted.empty() || m_wanted.contains(m_keys[i]))
                m_chosen.push_back({m_candidates[i], std::string(m_keys[i])});
        return true;
    }

    const Memory& m_memory;
    std::set<std::string, std::less<>> m_wanted;
    std::set<std::size_t> m_sizes;
    std::vector<Parameter> m_records;
    std::vector<Address> m_candidates;
    std::vector<Range> m_ranges;
    Parts m_keys;
    std::vector<ParameterPlace> m_chosen;
};

/** The types and values of the parameters at `places`, as they are read once. */
std::optional<std::vector<ParameterView>> valuesAt(const Memory& memory,
                                                   std::span<const ParameterPlace> places)
{
    std::vector<Range> ranges;
    ranges.reserve(places.size());
    for (const ParameterPlace& place : places)
        ranges.push_back({place.address, sizeof(Parameter)});
    std::vector<Parameter> records(places.size());
    if (!memory.read(ranges,
                     {reinterpret_cast<char*>(records.data()), records.size() * sizeof(Parameter)}))
        return std::nullopt;
    ranges.clear();
    for (const Parameter& record : records) // a value that could not be allocated has no bytes
        ranges.push_back({record.value, record.value != 0 ? record.valueSize : 0});
    Parts values;
    if (!values.read(memory, ranges))
        return std::nullopt;
    std::vector<ParameterView> views;
    views.reserve(records.size());
    for (std::size_t i = 0; i < records.size(); ++i)
        views.push_back({{}, records[i].type, std::string(values[i])});
    return views;
}

std::optional<std::vector<ParameterView>> readAt(const BoundedMemory& memory, Address root,
                                                 const StoreView& store,
                                                 std::vector<ParameterPlace> places)
{
    const Address changes = store.address + offsetof(Store, changes);
    std::vector<ParameterView> views;
    views.reserve(places.size());
    std::size_t atOnce = valuesAtOnce;
    Patience patience;
    while (views.size() < places.size()) {
        const std::size_t count = std::min(atOnce, places.size() - views.size());
        const auto part = std::span(places).subspan(views.size(), count);
        auto values = readSettled(memory, changes, [&] { return valuesAt(memory, part); });
        if (!values) {
            if (!isRegistered(memory, root, store))
                return std::nullopt;
            atOnce = std::max<std::size_t>(1, atOnce / 2); // less is sooner read between writes
            patience.wait();
            continue;
        }
        for (ParameterView& view : *values) {
            view.key = std::move(places[views.size()].key);
            views.push_back(std::move(view));
        }
        patience = {};
    }
    // Had the store gone meanwhile, its memory might have held anything.
    return isRegistered(memory, root, store) ? std::optional(std::move(views)) : std::nullopt;
}

} // namespace

std::optional<std::vector<ParameterPlace>> findParameters(const Memory& process, Address root,
                                                          const StoreView& store,
                                                          std::span<const std::string> keys)
{
    const BoundedMemory memory(process);
    auto places = Choice(memory, keys).from(store);
    return isRegistered(memory, root, store) ? std::move(places) : std::nullopt;
}

std::optional<std::vector<ParameterView>> readParameters(const Memory& process, Address root,
                                                         const StoreView& store,
                                                         std::vector<ParameterPlace> places)
{
    return readAt(BoundedMemory(process), root, store, std::move(places));
}

std::optional<std::vector<ParameterView>> readParameters(const Memory& process, Address root,
                                                         const StoreView& store,
                                                         std::span<const std::string> keys)
{
    const BoundedMemory memory(process);
    auto places = Choice(memory, keys).from(store);
    return places ? readAt(memory, root, store, std::move(*places)) : std::nullopt;
}

} // namespace Varnix::Inspection
