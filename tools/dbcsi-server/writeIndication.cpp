#include "writeIndication.h"

#include "dbcsiMessages.h"
#include "packet.h"

#include <cstdint>

namespace Dbcsi {

std::vector<std::byte> encodeWriteIndication(const Words& words)
{
    PacketWriter writer;
    writer.word(DBCSI_DBWRITE_IND).word(0).word(0);
    writer.word(static_cast<std::uint32_t>(words.size()));
    for (const std::string& word : words)
        writer.text(word);
    return writer.done();
}

} // namespace Dbcsi
