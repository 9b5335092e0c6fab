#include "buffers.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <tuple>
#include <vector>

#include <cxxabi.h>
#include <varnix/databaseIf.h>
#include <varnix/dbRegistryIf.h>
#include <varnix/varnix.h>
#include <varnix/version.h>

struct varnix_database
{
    std::shared_ptr<Varnix::V1::DatabaseIf> database;
    mutable Varnix::C::Buffers buffers;
};

namespace {

using Varnix::C::Buffers;
using Varnix::V1::DatabaseIf;

/** Runs a call; whatever it throws becomes a status, except a thread's cancellation. */
template <typename Call>
varnix_status guarded(const Call& call)
{
    try {
        return call();
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (const std::bad_alloc&) {
        return VARNIX_OUT_OF_MEMORY;
    } catch (...) {
        return VARNIX_FAILED;
    }
}

varnix_status statusOf(DatabaseIf::RetCode code) noexcept
{
    switch (code) {
    case DatabaseIf::RetCode::OK:
        return VARNIX_OK;
    case DatabaseIf::RetCode::KEY_NOT_FOUND:
        return VARNIX_KEY_NOT_FOUND;
    case DatabaseIf::RetCode::TYPE_MISMATCH:
        return VARNIX_TYPE_MISMATCH;
    }
    return VARNIX_FAILED;
}

bool isEmpty(const char* text) noexcept
{
    return text == nullptr || *text == '\0';
}

/** Whether an output cannot take `capacity` elements and their number. */
bool isBadOutput(const void* values, size_t capacity, const size_t* count) noexcept
{
    return count == nullptr || (values == nullptr && capacity != 0);
}

/** Reads into a buffer, and gives what was found to `use`. */
template <typename Value, typename Use>
varnix_status read(const varnix_database* database, const char* key, const Use& use)
{
    if (database == nullptr || isEmpty(key))
        return VARNIX_BAD_ARGUMENT;
    return guarded([&] {
        Buffers::Loan loan(database->buffers);
        (*loan).key = key;
        Value& value = std::get<Value>((*loan).values);
        const varnix_status status = statusOf(database->database->get((*loan).key, value));
        return status == VARNIX_OK ? use(value) : status;
    });
}

template <typename T>
varnix_status getElements(const varnix_database* database, const char* key, T* values,
                          size_t capacity, size_t* count)
{
    if (isBadOutput(values, capacity, count))
        return VARNIX_BAD_ARGUMENT;
    return read<std::vector<T>>(database, key, [&](const std::vector<T>& found) {
        *count = found.size();
        if (found.size() > capacity)
            return VARNIX_NO_ROOM;
        std::copy(found.begin(), found.end(), values);
        return VARNIX_OK;
    });
}

template <typename T>
varnix_status visitElements(const varnix_database* database, const char* key,
                            void (*visitor)(const T* values, size_t count, void* context),
                            void* context)
{
    if (visitor == nullptr)
        return VARNIX_BAD_ARGUMENT;
    return read<std::vector<T>>(database, key, [&](const std::vector<T>& found) {
        static const T nothing{};
        visitor(found.empty() ? &nothing : found.data(), found.size(), context);
        return VARNIX_OK;
    });
}

} // namespace

const char* varnix_status_name(int status)
{
    switch (status) {
    case VARNIX_OK:
        return "VARNIX_OK";
    case VARNIX_KEY_NOT_FOUND:
        return "VARNIX_KEY_NOT_FOUND";
    case VARNIX_TYPE_MISMATCH:
        return "VARNIX_TYPE_MISMATCH";
    case VARNIX_NO_ROOM:
        return "VARNIX_NO_ROOM";
    case VARNIX_BAD_ARGUMENT:
        return "VARNIX_BAD_ARGUMENT";
    case VARNIX_NO_DATABASE:
        return "VARNIX_NO_DATABASE";
    case VARNIX_OUT_OF_MEMORY:
        return "VARNIX_OUT_OF_MEMORY";
    case VARNIX_FAILED:
        return "VARNIX_FAILED";
    }
    return "unknown status";
}

const char* varnix_version(void)
{
    return Varnix::V1::version();
}

varnix_status varnix_open(const char* configuration, varnix_database** database)
{
    if (isEmpty(configuration) || database == nullptr)
        return VARNIX_BAD_ARGUMENT;
    return guarded([&] {
        auto handle = std::make_unique<varnix_database>();
        handle->database = Varnix::V1::DbRegistryIf::getInstance().initDb(configuration);
        if (handle->database == nullptr)
            return VARNIX_NO_DATABASE;
        *database = handle.release();
        return VARNIX_OK;
    });
}

varnix_status varnix_close(varnix_database* database)
{
    if (database == nullptr)
        return VARNIX_BAD_ARGUMENT;
    delete database;
    return VARNIX_OK;
}

// The two reads of an integer type. Their names have the type's, so no template makes them.
#define VARNIX_READS(suffix, type)                                                                 \
    varnix_status varnix_get_##suffix(const varnix_database* database, const char* key,            \
                                      type##_t* values, size_t capacity, size_t* count)            \
    {                                                                                              \
        return getElements(database, key, values, capacity, count);                                \
    }                                                                                              \
    varnix_status varnix_visit_##suffix(const varnix_database* database, const char* key,          \
                                        varnix_##suffix##_visitor visitor, void* context)          \
    {                                                                                              \
        return visitElements<type##_t>(database, key, visitor, context);                           \
    }

VARNIX_READS(u32, uint32)
VARNIX_READS(u16, uint16)
VARNIX_READS(u8, uint8)
VARNIX_READS(s32, int32)
VARNIX_READS(s16, int16)
VARNIX_READS(s8, int8)

varnix_status varnix_get_text(const varnix_database* database, const char* key, char* text,
                              size_t capacity, size_t* length)
{
    if (isBadOutput(text, capacity, length))
        return VARNIX_BAD_ARGUMENT;
    return read<std::string>(database, key, [&](const std::string& found) {
        *length = found.size();
        if (found.size() >= capacity)
            return VARNIX_NO_ROOM;
        std::copy_n(found.c_str(), found.size() + 1, text);
        return VARNIX_OK;
    });
}

varnix_status varnix_get_words(const varnix_database* database, const char* key, char* words,
                               size_t capacity, size_t* size, size_t* count)
{
    if (isBadOutput(words, capacity, size) || count == nullptr)
        return VARNIX_BAD_ARGUMENT;
    return read<std::vector<std::string>>(
        database, key, [&](const std::vector<std::string>& found) {
            *count = found.size();
            *size = 0;
            for (const std::string& word : found)
                *size += word.size() + 1;
            if (*size > capacity)
                return VARNIX_NO_ROOM;
            for (const std::string& word : found)
                words = std::copy_n(word.c_str(), word.size() + 1, words);
            return VARNIX_OK;
        });
}

varnix_status varnix_visit_text(const varnix_database* database, const char* key,
                                varnix_text_visitor visitor, void* context)
{
    if (visitor == nullptr)
        return VARNIX_BAD_ARGUMENT;
    return read<std::string>(database, key, [&](const std::string& found) {
        visitor(found.c_str(), found.size(), context);
        return VARNIX_OK;
    });
}

varnix_status varnix_visit_words(const varnix_database* database, const char* key,
                                 varnix_text_visitor visitor, void* context)
{
    if (visitor == nullptr)
        return VARNIX_BAD_ARGUMENT;
    return read<std::vector<std::string>>(database, key,
                                          [&](const std::vector<std::string>& found) {
                                              for (const std::string& word : found)
                                                  visitor(word.c_str(), word.size(), context);
                                              return VARNIX_OK;
                                          });
}
