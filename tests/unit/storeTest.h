#ifndef VARNIX_TESTS_UNIT_STORETEST_H
#define VARNIX_TESTS_UNIT_STORETEST_H

#include "databaseImpl.h"
#include "tests/support/dbBuilder.h"
#include "tests/support/temporaryDirectory.h"
#include "tests/support/traceSession.h"
#include "tests/support/traceSite.h"
#include "tests/support/waitUntil.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>

namespace Varnix::Backend {

using Test::DbBuilder;
using Test::repairChecksum;
using Test::setLength;
using Test::TemporaryDirectory;
using Test::TraceRecord;
using Test::TraceSession;
using Test::waitUntil;
using Test::writeFile;
using testing::ElementsAre;
using testing::IsEmpty;

using ResultCode = DatabaseImpl::ResultCode;
using Values = std::vector<std::int64_t>;

/** A store filled from real files, and what it says. */
class StoreTest : public testing::Test
{
protected:
    /** Writes the file, loads it, populates the store from it and drops it. */
    bool populate(const DbBuilder& file) { return populate(store, file); }

    bool populate(DatabaseImpl& target, const DbBuilder& file)
    {
        DbContainer container;
        load(container, file);
        return target.populate(container);
    }

    void load(DbContainer& container, const DbBuilder& file)
    {
        file.write(directory / "file.db");
        ASSERT_TRUE(container.loadSwDb(directory / "file.db"));
    }

    /** The value of a key read as `T`, or nothing unless the read succeeds. */
    template <typename T>
    std::optional<T> read(std::string_view key) const
    {
        T value;
        if (store.get(std::string(key), value) != ResultCode::SUCCESS)
            return std::nullopt;
        return value;
    }

    template <typename Element>
    std::optional<std::vector<Element>> numbers(std::string_view key) const
    {
        return read<std::vector<Element>>(key);
    }

    std::optional<std::string> text(std::string_view key) const { return read<std::string>(key); }

    std::optional<std::vector<std::string>> words(std::string_view key) const
    {
        return read<std::vector<std::string>>(key);
    }

    template <typename T>
    ResultCode resultOf(std::string_view key) const
    {
        T value;
        return store.get(std::string(key), value);
    }

    /** The results of all eight reads, in the order in which the store declares them. */
    std::vector<ResultCode> everyResultOf(std::string_view key) const
    {
        return {
            resultOf<std::vector<unsigned int>>(key),  resultOf<std::vector<unsigned short>>(key),
            resultOf<std::vector<unsigned char>>(key), resultOf<std::vector<int>>(key),
            resultOf<std::vector<short>>(key),         resultOf<std::vector<signed char>>(key),
            resultOf<std::vector<std::string>>(key),   resultOf<std::string>(key)};
    }

    /** Starts recording; what the test did before is not delivered. */
    static void listen() { TraceSession::ofThisProcess().take(); }

    static std::vector<TraceRecord> heard() { return TraceSession::ofThisProcess().take(); }

    TemporaryDirectory directory;
    DatabaseImpl store;
};

/** An ERROR of the store: `words`, which stand in the source, and what follows them. */
inline auto storeError(const std::string& words, const std::string& rest = "")
{
    return Test::reportedAt("ERROR", "databaseImpl.cpp", '"' + words + '"', words + rest);
}

inline auto storeInfo(const std::string& words, const std::string& rest = "")
{
    return Test::reportedAt("INFO", "databaseImpl.cpp", '"' + words + '"', words + rest);
}

} // namespace Varnix::Backend

#endif
