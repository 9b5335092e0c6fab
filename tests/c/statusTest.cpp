#include "cFixture.h"
#include "tests/support/allocationFailure.h"

#include <array>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <pthread.h>

namespace {

using namespace Varnix::Test;

class CStatus : public CFixture
{
};

/** Room for every output, marked so that a change is seen. */
struct Outputs
{
    std::vector<unsigned char> values = std::vector<unsigned char>(64, 0x77);
    std::size_t first = 1000;
    std::size_t second = 1000;
    int visits = 0;

    template <typename T>
    T* as()
    {
        return reinterpret_cast<T*>(values.data());
    }
    bool operator==(const Outputs&) const = default;
};

template <typename T>
void countVisit(const T* /*values*/, size_t /*count*/, void* context)
{
    ++*static_cast<int*>(context);
}

using Read = std::function<varnix_status(const varnix_database*, const char*, Outputs&)>;

/** Every read, in the order of the header. */
std::vector<Read> everyRead()
{
    const auto get = []<typename T>(varnix_status (*function)(const varnix_database*, const char*,
                                                              T*, size_t, size_t*)) {
        return [function](const varnix_database* db, const char* key, Outputs& outputs) {
            return function(db, key, outputs.as<T>(), 4, &outputs.first);
        };
    };
    const auto visit = []<typename T>(varnix_status (*function)(const varnix_database*, const char*,
                                                                void (*)(const T*, size_t, void*),
                                                                void*)) {
        return [function](const varnix_database* db, const char* key, Outputs& outputs) {
            return function(db, key, countVisit<T>, &outputs.visits);
        };
    };
    const auto words = [](const varnix_database* db, const char* key, Outputs& outputs) {
        return varnix_get_words(db, key, outputs.as<char>(), 64, &outputs.first, &outputs.second);
    };
    return {get(varnix_get_u32),      get(varnix_get_u16),
            get(varnix_get_u8),       get(varnix_get_s32),
            get(varnix_get_s16),      get(varnix_get_s8),
            get(varnix_get_text),     words,
            visit(varnix_visit_u32),  visit(varnix_visit_u16),
            visit(varnix_visit_u8),   visit(varnix_visit_s32),
            visit(varnix_visit_s16),  visit(varnix_visit_s8),
            visit(varnix_visit_text), visit(varnix_visit_words)};
}

/** Every read of a key has the same status, and touches nothing. */
void expectOfEveryRead(varnix_status expected, const varnix_database* database, const char* key)
{
    for (const Read& read : everyRead()) {
        Outputs outputs;
        EXPECT_EQ(read(database, key, outputs), expected);
        EXPECT_EQ(outputs, Outputs());
    }
}

TEST_F(CStatus, EveryStatusHasItsNumberAndItsName)
{
    const std::vector<std::string> names = {
        "VARNIX_OK",           "VARNIX_KEY_NOT_FOUND", "VARNIX_TYPE_MISMATCH", "VARNIX_NO_ROOM",
        "VARNIX_BAD_ARGUMENT", "VARNIX_NO_DATABASE",   "VARNIX_OUT_OF_MEMORY", "VARNIX_FAILED"};
    for (std::size_t i = 0; i < names.size(); ++i)
        EXPECT_EQ(varnix_status_name(static_cast<int>(i)), names[i]);
    for (const int none : {-1, VARNIX_FAILED + 1})
        EXPECT_STREQ(varnix_status_name(none), "unknown status");
    EXPECT_EQ(names.size(), VARNIX_FAILED + 1U);
}

TEST_F(CStatus, AnAbsentKeyIsNotFoundAndTouchesNothing)
{
    expectOfEveryRead(VARNIX_KEY_NOT_FOUND, m_handle.get(), "/absent");
    expectOfEveryRead(VARNIX_KEY_NOT_FOUND, m_handle.get(), "u32");
}

TEST_F(CStatus, EveryOtherTypeIsAMismatchAndTouchesNothing)
{
    const std::vector<const char*> keys = {"/u32", "/u16", "/u8", "/s32", "/s16", "/s8", "/text"};
    const std::vector<Read> reads = everyRead();
    for (std::size_t i = 0; i < reads.size(); ++i)
        for (std::size_t j = 0; j < keys.size(); ++j) {
            Outputs outputs;
            const bool same = j == std::min<std::size_t>(i % 8, 6);
            const varnix_status status = reads[i](m_handle.get(), keys[j], outputs);
            EXPECT_EQ(status == VARNIX_TYPE_MISMATCH, !same && !(keys[j] == keys[6] && i % 8 == 7))
                << i << ' ' << keys[j];
            EXPECT_EQ(outputs == Outputs(), status == VARNIX_TYPE_MISMATCH);
        }
}

TEST_F(CStatus, BadArgumentsDoNothing)
{
    expectOfEveryRead(VARNIX_BAD_ARGUMENT, nullptr, "/u32");
    expectOfEveryRead(VARNIX_BAD_ARGUMENT, m_handle.get(), nullptr);
    expectOfEveryRead(VARNIX_BAD_ARGUMENT, m_handle.get(), "");
    varnix_database* database = nullptr;
    EXPECT_EQ(varnix_open(nullptr, &database), VARNIX_BAD_ARGUMENT);
    EXPECT_EQ(varnix_open("", &database), VARNIX_BAD_ARGUMENT);
    EXPECT_EQ(varnix_open("/nowhere.cfg", nullptr), VARNIX_BAD_ARGUMENT);
    EXPECT_EQ(database, nullptr);
    EXPECT_EQ(varnix_close(nullptr), VARNIX_BAD_ARGUMENT);
}

TEST_F(CStatus, ANullOutputOrVisitorIsABadArgument)
{
    const varnix_database* const db = m_handle.get();
    std::uint32_t value = 5;
    std::array<char, 64> text{};
    std::size_t size = 1000;
    EXPECT_EQ(varnix_get_u32(db, "/u32", &value, 1, nullptr), VARNIX_BAD_ARGUMENT);
    EXPECT_EQ(varnix_get_u32(db, "/u32", nullptr, 1, &size), VARNIX_BAD_ARGUMENT);
    EXPECT_EQ(varnix_get_text(db, "/text", text.data(), 64, nullptr), VARNIX_BAD_ARGUMENT);
    EXPECT_EQ(varnix_get_text(db, "/text", nullptr, 64, &size), VARNIX_BAD_ARGUMENT);
    EXPECT_EQ(varnix_get_words(db, "/text", text.data(), 64, nullptr, &size), VARNIX_BAD_ARGUMENT);
    EXPECT_EQ(varnix_get_words(db, "/text", text.data(), 64, &size, nullptr), VARNIX_BAD_ARGUMENT);
    EXPECT_EQ(varnix_get_words(db, "/text", nullptr, 64, &size, &size), VARNIX_BAD_ARGUMENT);
    EXPECT_EQ(varnix_visit_u32(db, "/u32", nullptr, nullptr), VARNIX_BAD_ARGUMENT);
    EXPECT_EQ(varnix_visit_text(db, "/text", nullptr, nullptr), VARNIX_BAD_ARGUMENT);
    EXPECT_EQ(varnix_visit_words(db, "/text", nullptr, nullptr), VARNIX_BAD_ARGUMENT);
    EXPECT_EQ(size, 1000U);
    EXPECT_EQ(value, 5U);
}

TEST_F(CStatus, AConfigurationThatCannotBeUsedIsNoDatabase)
{
    varnix_database* database = m_handle.get();
    EXPECT_EQ(varnix_open("/nowhere.cfg", &database), VARNIX_NO_DATABASE);
    EXPECT_EQ(database, m_handle.get());
}

TEST_F(CStatus, EveryFailedAllocationOfAnOpenIsOutOfMemory)
{
    const std::string file = configuration(everyType());
    std::size_t struck = 0;
    for (std::size_t index = 0;; ++index) {
        varnix_database* database = nullptr;
        varnix_status status = VARNIX_FAILED;
        bool failed = false;
        {
            const AllocationFailure failure(Allocation::THROWING, index, 1);
            status = varnix_open(file.c_str(), &database);
            failed = failure.struck();
        }
        const CHandle handle(database);
        if (!failed) {
            EXPECT_EQ(status, VARNIX_OK);
            break;
        }
        ++struck;
        EXPECT_EQ(status == VARNIX_OK, database != nullptr);
        // What a trace could not allocate, or a file could not, is not the call's.
        EXPECT_TRUE(status == VARNIX_OUT_OF_MEMORY || status == VARNIX_NO_DATABASE ||
                    status == VARNIX_OK)
            << status << " at " << index;
    }
    EXPECT_GT(struck, 2U);
}

TEST_F(CStatus, AFailedAllocationOfAReadIsOutOfMemoryAndTouchesNothing)
{
    const std::string key = "/a key that no string holds in itself";
    for (std::size_t i = 0; i < everyRead().size(); ++i) {
        const CHandle handle = open(everyType()); // its buffers have no room yet
        const Read read = everyRead()[i];
        Outputs outputs;
        varnix_status status = VARNIX_OK;
        {
            const AllocationFailure failure(Allocation::THROWING);
            status = read(handle.get(), key.c_str(), outputs);
        }
        EXPECT_EQ(status, VARNIX_OUT_OF_MEMORY);
        EXPECT_EQ(outputs, Outputs());
        EXPECT_EQ(read(handle.get(), key.c_str(), outputs), VARNIX_KEY_NOT_FOUND);
    }
}

TEST_F(CStatus, WhatAVisitorThrowsIsAStatus)
{
    const auto fails = [](const std::uint32_t*, size_t, void*) {
        throw std::runtime_error("a visitor's");
    };
    EXPECT_EQ(varnix_visit_u32(m_handle.get(), "/u32", fails, nullptr), VARNIX_FAILED);
    const auto exhausts = [](const char*, size_t, void*) { throw std::bad_alloc(); };
    EXPECT_EQ(varnix_visit_words(m_handle.get(), "/text", exhausts, nullptr), VARNIX_OUT_OF_MEMORY);
}

/** Reads the handle that it is given, and is cancelled in the visitor. */
void* cancelledReader(void* handle)
{
    varnix_visit_u32(
        static_cast<varnix_database*>(handle), "/u32",
        [](const std::uint32_t*, size_t, void*) {
            ::pthread_cancel(::pthread_self());
            ::pthread_testcancel();
        },
        nullptr);
    return nullptr;
}

TEST_F(CStatus, AThreadMayBeCancelledInAVisitor)
{
    pthread_t thread{};
    ASSERT_EQ(::pthread_create(&thread, nullptr, cancelledReader, m_handle.get()), 0);
    void* result = nullptr;
    ASSERT_EQ(::pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
}

} // namespace
