#include "writeIndication.h"

#include "dbcsiMessages.h"

#include <cstdint>
#include <cstring>
#include <numeric>

namespace Dbcsi {
namespace {

void putWord(std::vector<std::byte>& message, std::size_t offset, std::uint32_t value)
{
    std::memcpy(message.data() + offset, &value, sizeof value);
}

} // namespace

std::vector<std::byte> encodeWriteIndication(const Words& words)
{
    const std::size_t size = std::accumulate(
        words.begin(), words.end(), dbWriteIndArgvOffset,
        [](std::size_t sum, const std::string& word) { return sum + word.size() + 1; });

    std::vector<std::byte> message(size);
    putWord(message, offsetof(DbWriteInd, msgno), DBCSI_DBWRITE_IND);
    putWord(message, offsetof(DbWriteInd, argc), static_cast<std::uint32_t>(words.size()));
    std::size_t at = dbWriteIndArgvOffset;
    for (const std::string& word : words) {
        std::memcpy(message.data() + at, word.c_str(), word.size() + 1);
        at += word.size() + 1;
    }
    return message;
}

} // namespace Dbcsi
