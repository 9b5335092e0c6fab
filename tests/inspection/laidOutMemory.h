#ifndef VARNIX_TESTS_LAIDOUTMEMORY_H
#define VARNIX_TESTS_LAIDOUTMEMORY_H

#include "inspection/memory.h"

#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Varnix::Test {

/** A process's memory as a test lays it out: some regions, and nothing between them. */
class LaidOutMemory : public Inspection::Memory
{
public:
    using Address = Inspection::Address;

    /** Puts bytes into a region of their own and returns where it begins. */
    Address put(const std::string& bytes)
    {
        const Address start = m_next;
        m_next += bytes.size() + gap;
        m_regions[start] = bytes;
        return start;
    }

    template <typename T>
    Address putObject(const T& object)
    {
        return put({reinterpret_cast<const char*>(&object), sizeof object});
    }

    template <typename T>
    void replace(Address start, const T& object)
    {
        m_regions.at(start).assign(reinterpret_cast<const char*>(&object), sizeof object);
    }

    void remove(Address start) { m_regions.erase(start); }

    /** Is called before each read with how many there were. */
    std::function<void(std::size_t)> beforeRead = [](std::size_t) {};

    bool read(std::span<const Inspection::Range> ranges, std::span<char> bytes) const override
    {
        beforeRead(m_reads++);
        for (const Inspection::Range& range : ranges) {
            if (range.size == 0)
                continue;
            auto region = m_regions.upper_bound(range.start);
            if (region == m_regions.begin())
                return false;
            --region;
            const std::uint64_t offset = range.start - region->first;
            if (offset > region->second.size() || region->second.size() - offset < range.size)
                return false;
            std::memcpy(bytes.data(), region->second.data() + offset, range.size);
            bytes = bytes.subspan(range.size);
        }
        return true;
    }

private:
    static constexpr Address gap = 64;

    std::map<Address, std::string> m_regions;
    Address m_next = 0x10000;
    mutable std::size_t m_reads = 0;
};

/** A registry laid out in such a memory. */
class LaidOutRegistry
{
public:
    using Address = Inspection::Address;

    explicit LaidOutRegistry(LaidOutMemory& memory) : m_memory(memory)
    {
        m_address = m_memory.putObject(root);
    }

    /** Adds a store; its address. */
    Address add(const std::string& config, const std::vector<Inspection::Parameter>& parameters)
    {
        std::string array(parameters.size() * sizeof(Inspection::Parameter), '\0');
        if (!parameters.empty())
            std::memcpy(array.data(), parameters.data(), array.size());
        Inspection::Store store{};
        store.serial = ++m_serial;
        store.config = m_memory.put(config);
        store.configSize = config.size();
        store.parameters = m_memory.put(array);
        store.parameterCount = parameters.size();
        const Address address = m_memory.putObject(store);
        if (stores.empty()) {
            root.firstStore = address;
        } else {
            stores.back().second.next = address;
            m_memory.replace(stores.back().first, stores.back().second);
        }
        stores.emplace_back(address, store);
        root.storeCount = stores.size();
        publish();
        return address;
    }

    Inspection::Parameter parameter(const std::string& key, std::uint8_t type,
                                    const std::string& value)
    {
        Inspection::Parameter made{};
        made.key = m_memory.put(key);
        made.keySize = static_cast<std::uint32_t>(key.size());
        made.type = type;
        made.value = m_memory.put(value);
        made.valueSize = static_cast<std::uint32_t>(value.size());
        return made;
    }

    void publish() { m_memory.replace(m_address, root); }

    Address address() const { return m_address; }

    Inspection::Root root{};
    std::vector<std::pair<Address, Inspection::Store>> stores;

private:
    LaidOutMemory& m_memory;
    Address m_address = 0;
    std::uint64_t m_serial = 0;
};

} // namespace Varnix::Test

#endif
