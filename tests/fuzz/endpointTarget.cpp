/**
 * What a stranger writes to a mailbox's endpoint: of any bytes in a stream exactly the whole frames
 * at its beginning are taken, and a connection that begins with any bytes is taken for nothing.
 */
#include "frame.h"
#include "inlet.h"
#include "link.h"
#include "memoryFile.h"
#include "target.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include <sys/socket.h>

namespace {

using namespace Varnix;
using Fuzz::require;
using Itc::Frame;
using Itc::Verdict;

std::string bytesOf(const Frame& frame)
{
    const Itc::FrameHeader header = Itc::headerOf(frame);
    std::string bytes(reinterpret_cast<const char*>(&header), sizeof header);
    bytes += frame.name;
    return bytes.append(reinterpret_cast<const char*>(frame.message.data()), frame.message.size());
}

/** The whole frames at the beginning of `stream`, one after the other. */
std::string wholeFrames(std::string_view stream)
{
    std::string frames;
    auto bytes = std::as_bytes(std::span(stream));
    for (Itc::Parsed next = Itc::parseFrame(bytes); next.verdict == Verdict::WHOLE;
         next = Itc::parseFrame(bytes)) {
        const std::size_t size = next.frame.size();
        require(size <= bytes.size(), "a whole frame lies inside the stream");
        require(Itc::parseFrame(bytes.first(size - 1)).verdict == Verdict::INCOMPLETE,
                "a frame that lacks a byte is incomplete");
        frames += bytesOf(next.frame);
        bytes = bytes.subspan(size);
    }
    require(stream.starts_with(frames), "a frame says what its bytes say");
    return frames;
}

class Connection
{
public:
    Connection()
    {
        std::array<int, 2> ends{};
        require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) == 0,
                "a connection can be made");
        m_near = Itc::Descriptor(ends[0]);
        m_inlet = Itc::Inlet(Itc::Descriptor(ends[1]));
    }

    void send(std::string_view bytes)
    {
        require(::send(m_near.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
                    static_cast<ssize_t>(bytes.size()),
                "a connection can be written");
    }

    void greet(int stream)
    {
        Itc::Greeting greeting;
        iovec part{&greeting, sizeof greeting};
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof stream)> control{};
        msghdr header{};
        header.msg_iov = &part;
        header.msg_iovlen = 1;
        header.msg_control = control.data();
        header.msg_controllen = control.size();
        cmsghdr* const rights = CMSG_FIRSTHDR(&header);
        rights->cmsg_level = SOL_SOCKET;
        rights->cmsg_type = SCM_RIGHTS;
        rights->cmsg_len = CMSG_LEN(sizeof stream);
        std::memcpy(CMSG_DATA(rights), &stream, sizeof stream);
        require(::sendmsg(m_near.get(), &header, MSG_NOSIGNAL) == sizeof greeting,
                "a stream can be handed over");
    }

    /** Whether more may arrive; what has is appended to `taken`. */
    bool read(std::string& taken)
    {
        static std::vector<std::byte> buffer(Itc::maxFrameSize);
        return m_inlet.read(buffer, [&](const Frame& frame) { taken += bytesOf(frame); });
    }

private:
    Itc::Descriptor m_near;
    Itc::Inlet m_inlet{Itc::Descriptor()};
};

void checkStream(std::string_view stream)
{
    static Fuzz::MemoryFile file;
    file.write(stream);
    Connection connection;
    connection.greet(file.descriptor());
    std::string taken;
    const bool goesOn = connection.read(taken);
    const std::string frames = wholeFrames(stream);
    require(taken == frames, "whole frames are taken, and nothing else");
    require(goesOn == (frames.size() == stream.size()),
            "a stream that holds anything else is turned away");
}

void checkGreeting(std::string_view bytes)
{
    if (bytes.empty())
        return;
    Connection connection;
    connection.send(bytes);
    std::string taken;
    require(!connection.read(taken) && taken.empty(), "who hands over no stream is turned away");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view bytes = Fuzz::viewOf(data, size);
    checkStream(bytes);
    checkGreeting(bytes.substr(0, 64));
    return 0;
}
