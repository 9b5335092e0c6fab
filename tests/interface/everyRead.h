#ifndef VARNIX_TESTS_EVERYREAD_H
#define VARNIX_TESTS_EVERYREAD_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <varnix/databaseIf.h>

/** Reads that keep the code and what the output then holds. */
namespace Varnix::Test {

/** Reads into an output that held something else. */
template <typename Output>
std::pair<V1::DatabaseIf::RetCode, Output> read(const V1::DatabaseIf& database,
                                                const std::string& key, Output before = {})
{
    const V1::DatabaseIf::RetCode code = database.get(key, before);
    return {code, before};
}

using RetCodes = std::vector<V1::DatabaseIf::RetCode>;

/** Reads a key with every overload; returns the codes in the order of the interface. */
inline RetCodes readAll(const V1::DatabaseIf& database, const std::string& key)
{
    return {read<std::vector<std::uint32_t>>(database, key).first,
            read<std::vector<std::uint16_t>>(database, key).first,
            read<std::vector<std::uint8_t>>(database, key).first,
            read<std::vector<std::int32_t>>(database, key).first,
            read<std::vector<std::int16_t>>(database, key).first,
            read<std::vector<std::int8_t>>(database, key).first,
            read<std::vector<std::string>>(database, key).first,
            read<std::string>(database, key).first};
}

/** OK from the overloads with these numbers, TYPE_MISMATCH from the others. */
inline RetCodes okOnlyFrom(const std::vector<std::size_t>& overloads)
{
    RetCodes codes(8, V1::DatabaseIf::RetCode::TYPE_MISMATCH);
    for (const std::size_t overload : overloads)
        codes.at(overload) = V1::DatabaseIf::RetCode::OK;
    return codes;
}

/** The read succeeds and leaves nothing of what the output held. */
template <typename T>
void expectElements(const V1::DatabaseIf& database, const std::string& key,
                    const std::vector<T>& expected)
{
    EXPECT_EQ(read(database, key, std::vector<T>{9, 9, 9, 9}),
              std::pair(V1::DatabaseIf::RetCode::OK, expected))
        << key;
}

} // namespace Varnix::Test

#endif
