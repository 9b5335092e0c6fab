#ifndef VARNIX_DBCSI_PACKET_H
#define VARNIX_DBCSI_PACKET_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <span>
#include <string>
#include <vector>

/** The bytes of a message: words in the node's own byte order, then NUL-terminated strings. */
namespace Dbcsi {

/** A message ends before what it should hold. */
class MalformedMessage : public std::exception
{
};

class PacketWriter
{
public:
    PacketWriter& word(std::uint32_t value) { return bytes(&value, sizeof value); }
    PacketWriter& longWord(std::uint64_t value) { return bytes(&value, sizeof value); }
    PacketWriter& text(const std::string& value) { return bytes(value.c_str(), value.size() + 1); }

    const std::vector<std::byte>& done() const noexcept { return m_bytes; }

private:
    PacketWriter& bytes(const void* data, std::size_t size)
    {
        // Not insert(): g++ 12 sees it write past a small vector's end when it optimises.
        const std::size_t end = m_bytes.size();
        m_bytes.resize(end + size);
        std::memcpy(m_bytes.data() + end, data, size);
        return *this;
    }

    std::vector<std::byte> m_bytes;
};

/** Reads in the order of writing. Throws MalformedMessage at the end of the bytes. */
class PacketReader
{
public:
    explicit PacketReader(std::span<const std::byte> bytes) : m_left(bytes) {}

    std::uint32_t word() { return value<std::uint32_t>(); }
    std::uint64_t longWord() { return value<std::uint64_t>(); }
    std::string text()
    {
        const auto end = std::find(m_left.begin(), m_left.end(), std::byte{0});
        if (end == m_left.end())
            throw MalformedMessage();
        const auto size = static_cast<std::size_t>(end - m_left.begin());
        std::string text(reinterpret_cast<const char*>(m_left.data()), size);
        m_left = m_left.subspan(size + 1);
        return text;
    }

    /** How many bytes are left: nothing that is still to come can be more numerous. */
    std::size_t left() const noexcept { return m_left.size(); }

private:
    template <typename Value>
    Value value()
    {
        Value result{};
        if (m_left.size() < sizeof result)
            throw MalformedMessage();
        std::memcpy(&result, m_left.data(), sizeof result);
        m_left = m_left.subspan(sizeof result);
        return result;
    }

    std::span<const std::byte> m_left;
};

} // namespace Dbcsi

#endif
