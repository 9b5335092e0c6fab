// What comes from outside: bytes that no mailbox sent.
#include "frame.h"
#include "itcSupport.h"
#include "link.h"

#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace ItcTest;
namespace fs = std::filesystem;

namespace {

/** A connection to a mailbox's endpoint, made by hand. */
class Stranger
{
public:
    explicit Stranger(const fs::path& endpoint) : m_socket(::socket(AF_UNIX, SOCK_STREAM, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        endpoint.native().copy(address.sun_path, sizeof address.sun_path - 1);
        m_connected = ::connect(m_socket.get(), reinterpret_cast<const sockaddr*>(&address),
                                sizeof address) == 0;
        EXPECT_TRUE(m_connected) << endpoint;
    }

    void write(std::string_view bytes) const
    {
        EXPECT_EQ(static_cast<ssize_t>(bytes.size()),
                  ::send(m_socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL));
    }

    void hand(std::string_view bytes, std::vector<int> descriptors) const
    {
        iovec part{const_cast<char*>(bytes.data()), bytes.size()};
        std::vector<char> control(CMSG_SPACE(descriptors.size() * sizeof(int)));
        msghdr header{};
        header.msg_iov = &part;
        header.msg_iovlen = 1;
        header.msg_control = control.data();
        header.msg_controllen = control.size();
        cmsghdr* const rights = CMSG_FIRSTHDR(&header);
        rights->cmsg_level = SOL_SOCKET;
        rights->cmsg_type = SCM_RIGHTS;
        rights->cmsg_len = CMSG_LEN(descriptors.size() * sizeof(int));
        std::memcpy(CMSG_DATA(rights), descriptors.data(), descriptors.size() * sizeof(int));
        EXPECT_EQ(static_cast<ssize_t>(bytes.size()),
                  ::sendmsg(m_socket.get(), &header, MSG_NOSIGNAL));
    }

    /** Whether the mailbox has closed its end. */
    bool isTurnedAway() const
    {
        char byte = 0;
        return ::recv(m_socket.get(), &byte, 1, MSG_DONTWAIT) >= 0 || errno == ECONNRESET;
    }

private:
    Itc::Descriptor m_socket;
    bool m_connected = false;
};

/** As processes of every build say it: no version but the first is known. */
std::string greeting(std::uint32_t version = 1)
{
    const std::uint32_t words[] = {0x48435449, version};
    return {reinterpret_cast<const char*>(words), sizeof words};
}

std::string frame(std::uint32_t number)
{
    const auto* const bytes = reinterpret_cast<const std::byte*>(&number);
    const Itc::FrameHeader header =
        Itc::headerOf({Itc::FrameKind::MESSAGE, 77, {}, {bytes, sizeof number}});
    return std::string(reinterpret_cast<const char*>(&header), sizeof header) +
           std::string(reinterpret_cast<const char*>(&number), sizeof number);
}

/** A stream that holds `bytes`, and says that it holds `claimed`. */
Itc::Descriptor streamOf(std::string_view bytes, off_t claimed)
{
    Itc::Descriptor stream(::memfd_create("stranger", MFD_CLOEXEC));
    EXPECT_EQ(static_cast<ssize_t>(bytes.size()),
              ::pwrite(stream.get(), bytes.data(), bytes.size(), 0));
    EXPECT_EQ(claimed, ::lseek(stream.get(), claimed, SEEK_SET));
    return stream;
}

Itc::Descriptor streamOf(std::string_view bytes)
{
    return streamOf(bytes, static_cast<off_t>(bytes.size()));
}

class ItcForeign : public MailboxDirectory
{
protected:
    fs::path endpoint(std::uint32_t mailbox) const
    {
        char name[16];
        std::snprintf(name, sizeof name, "m-%08x", mailbox);
        return directory() / name;
    }

    /** A mailbox that a stranger meets, and that must then still be of use to an honest sender. */
    void meet(const std::function<void(const Stranger&)>& approach, bool turnedAway) const
    {
        inProcess([&] {
            const std::uint32_t mine = open("mine");
            const std::size_t before = openDescriptors();
            {
                const Stranger stranger(endpoint(mine));
                approach(stranger);
                EXPECT_FALSE(receive(0));
                EXPECT_EQ(turnedAway, stranger.isTurnedAway());
                inProcess([] {
                    open("honest");
                    send(find("mine"), 1);
                });
                EXPECT_EQ(1U, receiveNumber());
            }
            EXPECT_FALSE(receive(0));
            EXPECT_EQ(before, openDescriptors());
        });
    }
};

TEST_F(ItcForeign, AConnectionThatSaysNothingIsLetBe)
{
    meet([](const Stranger&) {}, false);
}

TEST_F(ItcForeign, BytesThatAreNoGreetingAreDropped)
{
    for (const std::string& bytes :
         {std::string("x"), std::string("ITCH"), std::string(100'000, '\xA5'),
          std::string("GET / HTTP/1.1\r\n\r\n"), std::string(8, '\0')})
        meet([&](const Stranger& stranger) { stranger.write(bytes); }, true);
}

TEST_F(ItcForeign, AGreetingWithoutAStreamIsDropped)
{
    meet([](const Stranger& stranger) { stranger.write(greeting()); }, true);
}

TEST_F(ItcForeign, AStreamWithoutAGreetingIsDropped)
{
    const Itc::Descriptor stream = streamOf(frame(5));
    for (const std::size_t size : {1U, 7U})
        meet(
            [&](const Stranger& stranger) {
                stranger.hand(greeting().substr(0, size), {stream.get()});
            },
            true);
}

TEST_F(ItcForeign, AStreamThatCanStillBeSealedIsTaken)
{
    inProcess([&] {
        const std::uint32_t mine = open("mine");
        const Stranger stranger(endpoint(mine));
        const Itc::Descriptor stream(::memfd_create("stranger", MFD_CLOEXEC | MFD_ALLOW_SEALING));
        const std::string bytes = frame(5);
        ASSERT_EQ(static_cast<ssize_t>(bytes.size()),
                  ::write(stream.get(), bytes.data(), bytes.size()));
        stranger.hand(greeting(), {stream.get()});
        EXPECT_EQ(5U, receiveNumber());
    });
}

TEST_F(ItcForeign, AGreetingOfAnotherVersionIsDropped)
{
    const Itc::Descriptor stream = streamOf(frame(5));
    for (const std::uint32_t version : {0U, 2U})
        meet([&](const Stranger& stranger) { stranger.hand(greeting(version), {stream.get()}); },
             true);
}

TEST_F(ItcForeign, FramesInTheConnectionComeAfterAnyNumberOfWakes)
{
    for (const std::size_t wakes : {1U, 4095U, 4096U, 4097U, 10'000U})
        inProcess([&] {
            const std::uint32_t mine = open("mine");
            const Stranger stranger(endpoint(mine));
            const Itc::Descriptor stream = streamOf(frame(5));
            stranger.hand(greeting(), {stream.get()});
            EXPECT_EQ(5U, receiveNumber());
            stranger.write(std::string(wakes, Itc::wakeMark) + Itc::inBandMark + frame(6));
            EXPECT_EQ(6U, receiveNumber()) << wakes;
        });
}

TEST_F(ItcForeign, OnlyOneFileInMemoryIsTakenForAStream)
{
    int ends[2];
    ASSERT_EQ(0, ::pipe(ends));
    const Itc::Descriptor readEnd(ends[0]);
    const Itc::Descriptor writeEnd(ends[1]);
    const Itc::Descriptor zero(::open("/dev/zero", O_RDONLY | O_CLOEXEC));
    const Itc::Descriptor plain(::open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
    const Itc::Descriptor memory = streamOf("");
    for (const std::vector<int>& handed :
         std::vector<std::vector<int>>{{readEnd.get()},
                                       {zero.get()},
                                       {plain.get()},
                                       {memory.get(), memory.get()},
                                       {zero.get(), memory.get(), readEnd.get()}})
        meet([&](const Stranger& stranger) { stranger.hand(greeting(), handed); }, true);
}

TEST_F(ItcForeign, AStreamThatHoldsNoFramesIsDropped)
{
    const std::string whole = frame(5);
    const auto size = static_cast<off_t>(whole.size());
    const auto hand = [](Itc::Descriptor stream) {
        return [fd = std::make_shared<Itc::Descriptor>(std::move(stream))](const Stranger& to) {
            to.hand(greeting(), {fd->get()});
        };
    };
    meet(hand(streamOf(std::string(4096, '\xA5'))), true);
    meet(hand(streamOf(whole.substr(0, whole.size() - 1))), true);
    meet(hand(streamOf(whole.substr(0, 3))), true);
    meet(hand(streamOf("", 4096)), true);
    meet(hand(streamOf("", off_t{1} << 62)), true);
    meet(hand(streamOf(std::string(static_cast<std::size_t>(size), '\0'))), true);
}

TEST_F(ItcForeign, WhatCameBeforeTheFirstWrongByteIsTaken)
{
    inProcess([&] {
        const std::uint32_t mine = open("mine");
        const Stranger stranger(endpoint(mine));
        const Itc::Descriptor stream =
            streamOf(frame(5) + frame(6) + "wrong, and long enough to be seen");
        stranger.hand(greeting(), {stream.get()});
        EXPECT_EQ(5U, receiveNumber(0));
        EXPECT_EQ(6U, receiveNumber(0));
        EXPECT_FALSE(receive(0));
        EXPECT_TRUE(stranger.isTurnedAway());
    });
}

TEST_F(ItcForeign, AStreamThatTurnsBackIsDropped)
{
    inProcess([&] {
        const std::uint32_t mine = open("mine");
        const Stranger stranger(endpoint(mine));
        const Itc::Descriptor stream = streamOf(frame(5));
        stranger.hand(greeting(), {stream.get()});
        EXPECT_EQ(5U, receiveNumber(0));
        ::lseek(stream.get(), 0, SEEK_SET);
        stranger.write("x");
        EXPECT_FALSE(receive(0));
        EXPECT_TRUE(stranger.isTurnedAway());
    });
}

TEST_F(ItcForeign, AStreamThatIsCutOffIsDropped)
{
    inProcess([&] {
        const std::uint32_t mine = open("mine");
        const Stranger stranger(endpoint(mine));
        const Itc::Descriptor stream = streamOf(frame(5) + frame(6));
        ASSERT_EQ(0, ::ftruncate(stream.get(), static_cast<off_t>(frame(5).size())));
        stranger.hand(greeting(), {stream.get()});
        EXPECT_EQ(5U, receiveNumber(0));
        EXPECT_FALSE(receive(0));
        EXPECT_TRUE(stranger.isTurnedAway());
    });
}

TEST_F(ItcForeign, ALocateOfANameThatNobodyCanHaveIsDropped)
{
    inProcess([&] {
        const std::uint32_t mine = open("mine");
        const Stranger stranger(endpoint(mine));
        const std::string name(253, '/');
        const std::string message = "numb";
        const Itc::FrameHeader header = Itc::headerOf(
            {Itc::FrameKind::LOCATE, 1, name, std::as_bytes(std::span<const char>(message))});
        const Itc::Descriptor stream =
            streamOf(std::string(reinterpret_cast<const char*>(&header), sizeof header) + name +
                     message + frame(5));
        stranger.hand(greeting(), {stream.get()});
        EXPECT_EQ(5U, receiveNumber(0));
    });
}

TEST_F(ItcForeign, AnotherUsersProcessIsTurnedAway)
{
    // Only root can play another user.
    const uid_t other = ::geteuid() == 0 ? 65534 : ::geteuid();
    inProcess([&] {
        const std::uint32_t mine = open("mine");
        fs::permissions(directory(), fs::perms::all);
        fs::permissions(endpoint(mine), fs::perms::all);
        Process stranger([&] {
            ASSERT_EQ(0, ::setresuid(other, other, other));
            const Itc::Descriptor stream = streamOf(frame(5));
            const Stranger connection(endpoint(mine));
            connection.hand(greeting(), {stream.get()});
        });
        EXPECT_EQ(0, stranger.wait());
        EXPECT_EQ(other == ::geteuid() ? 5U : 0U, receiveNumber(0));
    });
}

} // namespace
