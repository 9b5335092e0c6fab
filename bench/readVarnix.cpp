#include "bench/reads.h"

#include <memory>
#include <stdexcept>

#include <varnix/dbRegistryIf.h>

// Reads as a client makes them: through the public interface of the installed shared library.

namespace Varnix::Bench {

namespace {

using V1::DatabaseIf;
using Handle = std::shared_ptr<DatabaseIf>;
using RetCode = DatabaseIf::RetCode;

constexpr std::size_t productionFirst = 50000; // keys that the production database alone holds
constexpr std::size_t missingFirst = 90000;    // keys that nobody holds

/** A handle on a database with `keyCount` keys of the value. */
Handle open(const Node& node, const Value& value)
{
    const std::string name = value.name;
    const std::string file = node.writeDatabase(name + ".db", {value, keyCount});
    const auto handle =
        V1::DbRegistryIf::getInstance().initDb(node.writeConfig(name + ".cfg", {file}));
    if (!handle)
        throw std::runtime_error("no database for " + name);
    return handle;
}

template <typename T>
unsigned firstByte(const std::vector<T>& output)
{
    return static_cast<unsigned char>(output.empty() ? T() : output.front());
}

unsigned firstByte(const std::string& output)
{
    return static_cast<unsigned char>(output.empty() ? '\0' : output.front());
}

unsigned firstByte(const std::vector<std::string>& output)
{
    return output.empty() ? 0 : firstByte(output.front());
}

/** Reads into one output again and again, as a client that knows what it does. */
template <typename Output>
auto readerOf(const Handle& handle, RetCode expected = RetCode::OK)
{
    return [handle, expected] {
        return [db = handle.get(), expected, output = Output()](const std::string& key) mutable {
            if (db->get(key, output) != expected)
                std::abort();
            return firstByte(output);
        };
    };
}

/** A value and the output type that serves it. */
template <typename T>
struct Overload
{
    using Output = T;
    Value small;
    Value large;
};

template <typename... Overloads>
void addOverloads(const Node& node, const Overloads&... overloads)
{
    const auto add = [&]<typename Output>(const Overload<Output>& overload) {
        for (const Value& value : {overload.small, overload.large})
            addReads(std::string(value.name) + "/varnix", shuffledKeys(),
                     readerOf<Output>(open(node, value)));
    };
    (add(overloads), ...);
}

} // namespace

void addVarnix(const Node& node)
{
    node.writeProduction({{u32x4, keyCount, productionFirst}});

    addOverloads(
        node, Overload<std::vector<std::uint32_t>>{u32x4, {"U32x256", 6, 1024}},
        Overload<std::vector<std::uint16_t>>{{"U16x4", 4, 8}, u16x512},
        Overload<std::vector<std::uint8_t>>{{"U8x4", 2, 4}, u8x1024},
        Overload<std::vector<std::int32_t>>{{"S32x4", 7, 16}, {"S32x256", 7, 1024}},
        Overload<std::vector<std::int16_t>>{{"S16x4", 5, 8}, {"S16x512", 5, 1024}},
        Overload<std::vector<std::int8_t>>{{"S8x4", 3, 4}, {"S8x1024", 3, 1024}},
        Overload<std::string>{text24, {"text1024", 10, 1024}},
        Overload<std::vector<std::string>>{{"words3", 10, 24, true}, {"words128", 10, 1024, true}});

    using Numbers = std::vector<std::uint32_t>;
    const Handle numbers = open(node, u32x4);
    const Handle texts = open(node, text24);
    addReads("U32x4/production", shuffledKeys(productionFirst), readerOf<Numbers>(numbers));
    addReads("U32x4/missing", shuffledKeys(missingFirst),
             readerOf<Numbers>(numbers, RetCode::KEY_NOT_FOUND));
    addReads("U32x4/mismatch", shuffledKeys(),
             readerOf<std::string>(numbers, RetCode::TYPE_MISMATCH));
    addChainedReads("U32x4/varnix", shuffledKeys(), readerOf<Numbers>(numbers));
    addChainedReads("text24/varnix", shuffledKeys(), readerOf<std::string>(texts));
    addParallelReads("U32x4/varnix", shuffledKeys(), readerOf<Numbers>(numbers));
}

} // namespace Varnix::Bench
