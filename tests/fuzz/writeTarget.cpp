/**
 * Write indications: whatever words a well-formed message packs, the production and a component
 * store hold afterwards what a plain model holds.
 *
 * The first line says what kind of message it is: "u" one that arrives without a subscription, "l"
 * one whose count is too low, a digit one that counts so many words fewer than it packs. Every
 * other line is a word.
 */
#include "databaseImpl.h"
#include "dbRegistryImpl.h"
#include "itc_communication.h"
#include "memoryFile.h"
#include "target.h"
#include "tests/support/dbBuilder.h"
#include "writeModel.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <dbcsiMessages.h>

namespace {

using namespace Varnix;
using Backend::DatabaseImpl;
using Backend::DbRegistryImpl;
using Backend::Itc_communication;
using Fuzz::ModelParameter;
using Fuzz::ModelStore;
using Fuzz::Numbers;
using Fuzz::require;
using Fuzz::Words;

/** The parameters that both stores hold at first; the component's have other sizes. */
ModelStore initialParameters(std::size_t size)
{
    ModelStore store;
    for (const char* const type : {"U8", "S8", "U16", "S16", "U32", "S32"})
        store[std::string("/") + type] = {.type = type, .numbers = Numbers(size, 1)};
    store["/long"] = {.type = "U8", .numbers = Numbers(256 + size, 1)};
    store["/text"] = {.type = "CHAR", .text = std::string(size, 'a')};
    return store;
}

std::string imageOf(const ModelStore& store)
{
    Test::DbBuilder builder;
    for (const auto& [key, parameter] : store) {
        const Numbers& numbers = parameter.numbers;
        if (parameter.type == "CHAR")
            builder.text(key, parameter.text);
        else if (parameter.type == "U8")
            builder.u8(key, numbers);
        else if (parameter.type == "S8")
            builder.s8(key, numbers);
        else if (parameter.type == "U16")
            builder.u16(key, numbers);
        else if (parameter.type == "S16")
            builder.s16(key, numbers);
        else if (parameter.type == "U32")
            builder.u32(key, numbers);
        else
            builder.s32(key, numbers);
    }
    // What no write can change: a type without a name, and a key without any type.
    return builder.record({.key = "/nameless", .type = 9, .data = "xy"})
        .record({.key = "/void", .type = 2})
        .text("/componentConfigId", "fuzz_1")
        .image();
}

template <typename T>
Numbers numbersOf(const DatabaseImpl& store, const std::string& key)
{
    std::vector<T> values;
    require(store.get(key, values) == DatabaseImpl::ResultCode::SUCCESS, "a type stays");
    return {values.begin(), values.end()};
}

ModelParameter read(const DatabaseImpl& store, const std::string& key, const std::string& type)
{
    ModelParameter parameter{.type = type};
    if (type == "CHAR")
        require(store.get(key, parameter.text) == DatabaseImpl::ResultCode::SUCCESS,
                "a type stays");
    else if (type == "U8")
        parameter.numbers = numbersOf<unsigned char>(store, key);
    else if (type == "S8")
        parameter.numbers = numbersOf<signed char>(store, key);
    else if (type == "U16")
        parameter.numbers = numbersOf<unsigned short>(store, key);
    else if (type == "S16")
        parameter.numbers = numbersOf<short>(store, key);
    else if (type == "U32")
        parameter.numbers = numbersOf<unsigned int>(store, key);
    else
        parameter.numbers = numbersOf<int>(store, key);
    return parameter;
}

/** A store of the library's beside a model that gets the same writes. */
class ComparedStore
{
public:
    ComparedStore(std::shared_ptr<DatabaseImpl> store, ModelStore initial)
        : m_store(std::move(store)), m_initial(std::move(initial))
    {
    }

    void check(const Fuzz::Write& write)
    {
        ModelStore model = m_initial;
        apply(write, model);
        for (const auto& [key, parameter] : model) {
            require(read(*m_store, key, parameter.type) == parameter,
                    "a store holds what the model holds");
            if (parameter != m_initial[key])
                restore(key);
        }
        std::string text;
        for (const char* const key : {"/nameless", "/void"})
            require(m_store->get(key, text) == DatabaseImpl::ResultCode::WRONG_TYPE,
                    "what has no type gets none");
    }

private:
    void restore(const std::string& key)
    {
        const ModelParameter& initial = m_initial[key];
        if (initial.type == "CHAR") {
            m_store->updateDb(key, initial.text, false);
        } else {
            Numbers reachable = initial.numbers; // no write reaches beyond element 255
            reachable.resize(std::min<std::size_t>(reachable.size(), 256));
            m_store->updateDb(key, reachable, 0);
        }
    }

    std::shared_ptr<DatabaseImpl> m_store;
    ModelStore m_initial;
};

/** A registry with a production and one component store, both with models beside them. */
class Node
{
public:
    Node()
    {
        const ModelStore production = initialParameters(9);
        const ModelStore component = initialParameters(3);
        m_production.write(imageOf(production));
        m_component.write(imageOf(component));
        m_config.write("varnix = { component_versions = ( { component_id = \"fuzz\"; revision = "
                       "\"1\"; file_paths = [ \"" +
                       m_component.path() + "\" ]; } ); };");
        ::setenv("sys_uflash_prod_db_dev_dev", m_production.path().c_str(), 1);
        m_registry = DbRegistryImpl::getInstance();
        auto db = m_registry->initDb(m_config.path());
        require(db != nullptr, "the node's databases can be loaded");
        m_stores.emplace_back(m_registry->getProdDb(), production);
        m_stores.emplace_back(std::move(db), component);
    }

    DbRegistryImpl* registry() noexcept { return m_registry; }

    void check(const Fuzz::Write& write)
    {
        for (ComparedStore& store : m_stores)
            store.check(write);
    }

private:
    Fuzz::MemoryFile m_production;
    Fuzz::MemoryFile m_component;
    Fuzz::MemoryFile m_config;
    DbRegistryImpl* m_registry = nullptr;
    std::vector<ComparedStore> m_stores;
};

Words wordsOf(std::string_view text)
{
    Words words;
    while (!text.empty())
        words.emplace_back(std::string(Fuzz::cutLine(text)).c_str()); // a NUL ends a word
    return words;
}

/** A message in a block of exactly its size. */
class Message
{
public:
    Message(std::uint32_t number, std::size_t size) : m_bytes(size) { set(0, number); }

    static Message writeIndication(std::int32_t argc, const Words& words)
    {
        std::string packed;
        for (const std::string& word : words)
            packed.append(word).push_back('\0');
        Message message(Dbcsi::DBCSI_DBWRITE_IND, Dbcsi::dbWriteIndArgvOffset + packed.size());
        message.set(offsetof(Dbcsi::DbWriteInd, argc), static_cast<std::uint32_t>(argc));
        std::copy(packed.begin(), packed.end(),
                  message.m_bytes.begin() + Dbcsi::dbWriteIndArgvOffset);
        return message;
    }

    itc_msg* get() noexcept { return reinterpret_cast<itc_msg*>(m_bytes.data()); }

private:
    void set(std::size_t offset, std::uint32_t value)
    {
        std::memcpy(m_bytes.data() + offset, &value, sizeof value);
    }

    std::vector<char> m_bytes;
};

/** The words that the message counts, none where it counts too few to be looked at. */
Words countedWords(char kind, const Words& packed)
{
    const std::size_t left = kind >= '1' && kind <= '9' ? static_cast<std::size_t>(kind - '0') : 0;
    if (packed.size() < left + 4)
        return {};
    return {packed.begin(), packed.end() - static_cast<std::ptrdiff_t>(left)};
}

/** Hands the message over; returns whether that threw. */
bool deliver(Itc_communication& channel, DbRegistryImpl* registry, Message message)
{
    try {
        require(!channel.handleMsg(registry, message.get()), "a message does not end the thread");
        return false;
    } catch (const std::invalid_argument&) {
        return true;
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static Node node;
    std::string_view text = Fuzz::viewOf(data, size);
    const std::string_view kind = Fuzz::cutLine(text);
    const Words packed = wordsOf(text);
    const bool isSubscribed = kind != "u";
    const Words counted =
        kind == "l" ? Words() : countedWords(kind.empty() ? '0' : kind[0], packed);
    if (!counted.empty() && Fuzz::isSlow(counted))
        return 0;

    Itc_communication channel;
    if (isSubscribed)
        deliver(channel, node.registry(),
                Message(Dbcsi::DBCSI_SUBSCRIBE_CFM, sizeof(Dbcsi::PlainAnswer)));
    const auto argc = static_cast<std::int32_t>(counted.size());
    const bool threw =
        deliver(channel, node.registry(),
                Message::writeIndication(kind == "l" ? std::int32_t{-1} : argc, packed));

    const Fuzz::Write write =
        isSubscribed && !counted.empty() ? Fuzz::writeOf(counted) : Fuzz::NoWrite{};
    const auto* const none = std::get_if<Fuzz::NoWrite>(&write);
    require(threw == (none != nullptr && none->throws), "only a lone minus is thrown");
    node.check(write);
    return 0;
}
