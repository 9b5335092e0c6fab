#ifndef VARNIX_TESTS_MESSAGEBYTES_H
#define VARNIX_TESTS_MESSAGEBYTES_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <dbcsiMessages.h>

namespace Varnix::Test {

/** The bytes of a message. */
using Bytes = std::vector<unsigned char>;

inline void append(Bytes& bytes, const void* data, std::size_t size)
{
    // Not insert(): g++ 12 sees it write past a small vector's end when it optimises.
    const std::size_t end = bytes.size();
    bytes.resize(end + size);
    std::memcpy(bytes.data() + end, data, size);
}

/** The bytes of 32-bit words in the node's own byte order. */
inline Bytes bytesOf(const std::vector<std::uint32_t>& words)
{
    Bytes bytes;
    for (const std::uint32_t word : words)
        append(bytes, &word, sizeof word);
    return bytes;
}

/** A write indication of `words` that says there are `argc`; what nobody reads is nonsense. */
inline Bytes writeIndication(const std::vector<std::string>& words, std::uint32_t argc)
{
    Bytes bytes = bytesOf({Dbcsi::DBCSI_DBWRITE_IND, 0xDEADBEEF, 0xDEADBEEF, argc});
    for (const std::string& word : words)
        append(bytes, word.c_str(), word.size() + 1);
    return bytes;
}

inline Bytes writeIndication(const std::vector<std::string>& words)
{
    return writeIndication(words, static_cast<std::uint32_t>(words.size()));
}

} // namespace Varnix::Test

#endif
