#include "bench/reads.h"

#include <cstring>
#include <memory>
#include <unordered_map>

// The least that a read can be: a find in a map and a copy of the bytes. No lock, no type, no
// second store, no byte order.

namespace Varnix::Bench {

namespace {

using Map = std::unordered_map<std::string, std::vector<unsigned char>>;

std::shared_ptr<const Map> makeMap(const Value& value)
{
    const auto map = std::make_shared<Map>();
    for (std::size_t i = 0; i < keyCount; ++i) {
        const std::string bytes = bytesOf(value, i);
        map->emplace(keyOf(i), std::vector<unsigned char>(bytes.begin(), bytes.end()));
    }
    return map;
}

auto readerOf(const Value& value)
{
    return [map = makeMap(value), size = value.size] {
        return [map = map.get(),
                output = std::vector<unsigned char>(size)](const std::string& key) mutable {
            const auto found = map->find(key);
            if (found == map->end())
                std::abort();
            std::memcpy(output.data(), found->second.data(), found->second.size());
            benchmark::ClobberMemory();
            return unsigned{output.front()};
        };
    };
}

} // namespace

void addFloor()
{
    for (const Value& value : commonValues)
        addReads(std::string(value.name) + "/floor", shuffledKeys(), readerOf(value));
    for (const Value& value : {u32x4, text24})
        addChainedReads(std::string(value.name) + "/floor", shuffledKeys(), readerOf(value));
    addParallelReads("U32x4/floor", shuffledKeys(), readerOf(u32x4));
}

} // namespace Varnix::Bench
