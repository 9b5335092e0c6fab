#include "directory.h"

#include "frame.h"
#include "itc.h"
#include "report.h"
#include "transfer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>
#include <stdexcept>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>

namespace Itc {

namespace {

constexpr const char* lockEntry = "lock";
constexpr std::size_t idDigits = 8;
/** Ids stay clear of the special values, which all have the top bit set. */
constexpr std::uint32_t lastId = 0x7FFFFFFF;
/** The kernel lowers it to the host's net.core.somaxconn. */
constexpr int backlog = 1 << 16;

std::string environment(const char* name)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string directoryPath()
{
    if (std::string own = environment("VARNIX_ITC_DIR"); !own.empty())
        return own;
    if (const std::string runtime = environment("XDG_RUNTIME_DIR"); !runtime.empty())
        return runtime + "/varnix-itc";
    const std::string temporary = environment("TMPDIR");
    return (temporary.empty() ? "/tmp" : temporary) + "/varnix-itc-" + std::to_string(::geteuid());
}

std::string toHex(std::uint32_t number)
{
    std::string text(idDigits, '0');
    for (auto digit = text.rbegin(); number != 0; ++digit, number /= 16)
        *digit = "0123456789abcdef"[number % 16];
    return text;
}

std::optional<std::uint32_t> fromHex(std::string_view text) noexcept
{
    std::uint32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, 16);
    if (text.size() != idDigits || error != std::errc{} || stop != end || number > lastId)
        return std::nullopt;
    return number;
}

std::string endpointEntry(std::uint32_t id)
{
    return "m-" + toHex(id);
}

std::string channelEntry(std::uint32_t id)
{
    return "w-" + toHex(id);
}

constexpr std::string_view plainBytes =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";

/**
 * A name may hold any byte; a file's name shows the ordinary ones as they are. None where the name
 * is too long for one.
 */
std::optional<std::string> nameEntry(std::string_view name)
{
    std::string entry = "n-";
    for (const char c : name) {
        if (plainBytes.find(c) != plainBytes.npos) {
            entry += c;
        } else {
            const std::string byte = toHex(static_cast<unsigned char>(c));
            entry += '%' + byte.substr(byte.size() - 2);
        }
    }
    if (entry.size() > 2 + maxNameSize)
        return std::nullopt;
    return entry;
}

/** The entries of a directory that begin with one of the letters and a dash. */
std::vector<std::string> listEntries(int directory, std::string_view letters)
{
    Descriptor copy(::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(::fdopendir(copy.get()), &::closedir);
    if (!stream)
        throwErrno("cannot list the mailbox directory");
    copy.release();
    std::vector<std::string> entries;
    while (const dirent* const entry = ::readdir(stream.get())) {
        const std::string_view name = entry->d_name;
        if (name.size() >= 2 && name[1] == '-' && letters.find(name[0]) != letters.npos)
            entries.emplace_back(name);
    }
    return entries;
}

Descriptor makeSocket(int type)
{
    Descriptor made(::socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!made)
        throwErrno("cannot make a socket");
    return made;
}

const sockaddr* generic(const sockaddr_un& address) noexcept
{
    return reinterpret_cast<const sockaddr*>(&address);
}

} // namespace

Directory Directory::open()
{
    const std::string path = directoryPath();
    const std::string what = "cannot use the mailbox directory " + path;
    if (::mkdir(path.c_str(), S_IRWXU) != 0 && errno != EEXIST)
        throwErrno(what);
    // A link that somebody else left in a shared place is not followed.
    Descriptor descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status
    {
    };
    if (!descriptor || ::fstat(descriptor.get(), &status) != 0)
        throwErrno(what);
    if (status.st_uid != ::geteuid() || (status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        throw std::runtime_error(what + ": it must belong to the user, with mode 0700");
    return {std::move(descriptor), makeSocket(SOCK_DGRAM)};
}

std::optional<Directory::Endpoint> Directory::create(std::string_view name) const
{
    auto entry = nameEntry(name);
    const Descriptor held = lock();
    if (!entry || find(name) != ITC_NO_MBOX_ID)
        return std::nullopt;
    if (const std::uint32_t dead = ownerOf(*entry); dead != ITC_NO_MBOX_ID)
        removeEntry(endpointEntry(dead));
    removeEntry(*entry);

    Endpoint made = bindNextId(held);
    made.entry = std::move(*entry);
    try {
        // The name comes last: whoever finds it finds a mailbox that listens.
        if (::listen(made.socket.get(), backlog) != 0 ||
            ::symlinkat(endpointEntry(made.id).c_str(), m_descriptor.get(), made.entry.c_str()) !=
                0)
            throwErrno("cannot create a mailbox");
        wakeWaiters();
    } catch (...) {
        remove(made.id, made.entry);
        throw;
    }
    return made;
}

void Directory::remove(std::uint32_t id, const std::string& nameEntry) const noexcept
{
    try {
        if (ownerOf(nameEntry) == id)
            removeEntry(nameEntry);
    } catch (const std::exception&) { // whose it is cannot be told; whoever wants it will see
    }
    removeEntry(endpointEntry(id));
    removeChannel(id);
}

std::uint32_t Directory::find(std::string_view name) const
{
    const auto entry = nameEntry(name);
    const std::uint32_t id = entry ? ownerOf(*entry) : ITC_NO_MBOX_ID;
    return id != ITC_NO_MBOX_ID && isAlive(endpointEntry(id)) ? id : ITC_NO_MBOX_ID;
}

Descriptor Directory::connect(std::uint32_t id) const
{
    Descriptor made = makeSocket(SOCK_STREAM);
    const auto address = addressOf(endpointEntry(id));
    if (address && ::connect(made.get(), generic(*address), sizeof *address) == 0)
        return made;
    if (errno != ECONNREFUSED && errno != ENOENT)
        throwErrno("cannot reach mailbox 0x" + toHex(id));
    return {};
}

Descriptor Directory::openChannel(std::uint32_t id) const
{
    const Descriptor held = lock();
    Descriptor made = makeSocket(SOCK_DGRAM);
    removeChannel(id); // what could not be removed when the last one was closed
    const auto address = addressOf(channelEntry(id));
    if (!address || ::bind(made.get(), generic(*address), sizeof *address) != 0)
        throwErrno("cannot wait for a mailbox");
    return made;
}

void Directory::removeChannel(std::uint32_t id) const noexcept
{
    removeEntry(channelEntry(id));
}

void Directory::sweep() const
{
    const Descriptor held = lock();
    for (const std::string& entry : listEntries(m_descriptor.get(), "mnw"))
        if (isLeftOver(entry))
            removeEntry(entry);
}

Descriptor Directory::lock() const
{
    Descriptor held(::openat(m_descriptor.get(), lockEntry, O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    while (held && ::flock(held.get(), LOCK_EX) != 0)
        if (errno != EINTR)
            held = {};
    if (!held)
        throwErrno("cannot lock the mailbox directory");
    return held;
}

Directory::Endpoint Directory::bindNextId(const Descriptor& lock) const
{
    std::array<char, idDigits> text{};
    const ssize_t size = readAll(lock.get(), 0, std::as_writable_bytes(std::span(text)));
    if (size < 0)
        throwErrno("cannot create a mailbox");
    const auto given = fromHex({text.data(), static_cast<std::size_t>(size)});
    Endpoint made{given.value_or(0), makeSocket(SOCK_STREAM), {}};
    for (;;) {
        made.id = made.id == lastId ? 1 : made.id + 1;
        const auto address = addressOf(endpointEntry(made.id));
        if (address && ::bind(made.socket.get(), generic(*address), sizeof *address) == 0)
            break;
        if (errno != EADDRINUSE)
            throwErrno("cannot create a mailbox");
    }
    std::string next = toHex(made.id);
    iovec part{next.data(), next.size()};
    if (!writeAll(lock.get(), 0, {&part, 1})) {
        const int error = errno;
        removeEntry(endpointEntry(made.id));
        errno = error;
        throwErrno("cannot create a mailbox");
    }
    return made;
}

void Directory::wakeWaiters() const
{
    for (const std::string& entry : listEntries(m_descriptor.get(), "w")) {
        const auto address = addressOf(entry);
        // A waiter whose queue is full has been woken already.
        if (address &&
            ::sendto(m_probe.get(), "", 1, MSG_DONTWAIT | MSG_NOSIGNAL, generic(*address),
                     sizeof *address) < 0 &&
            errno == ECONNREFUSED)
            removeEntry(entry);
    }
}

/** The mailbox that a name leads to. Throws where that cannot be told: it may be a live one. */
std::uint32_t Directory::ownerOf(const std::string& entry) const
{
    std::array<char, 2 + idDigits + 1> target{};
    const ssize_t size =
        ::readlinkat(m_descriptor.get(), entry.c_str(), target.data(), target.size());
    if (size < 0 && errno != ENOENT && errno != EINVAL)
        throwErrno("cannot look a mailbox up");
    const std::string_view text(target.data(),
                                static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    return text.starts_with("m-") ? fromHex(text.substr(2)).value_or(ITC_NO_MBOX_ID)
                                  : ITC_NO_MBOX_ID;
}

/**
 * Whether a process has that socket bound. Asked with a datagram socket, which a mailbox's
 * endpoint turns down without noticing.
 */
bool Directory::isAlive(const std::string& entry) const noexcept
{
    const auto address = addressOf(entry);
    return address && (::connect(m_probe.get(), generic(*address), sizeof *address) == 0 ||
                       (errno != ECONNREFUSED && errno != ENOENT));
}

bool Directory::isLeftOver(const std::string& entry) const
{
    if (!entry.starts_with("n-"))
        return !isAlive(entry);
    const std::uint32_t owner = ownerOf(entry);
    return owner == ITC_NO_MBOX_ID || !isAlive(endpointEntry(owner));
}

void Directory::removeEntry(const std::string& entry) const noexcept
{
    ::unlinkat(m_descriptor.get(), entry.c_str(), 0);
}

/** A socket's address has little room: however long the directory's path is, this one is short. */
std::optional<sockaddr_un> Directory::addressOf(const std::string& entry) const noexcept
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const int size = std::snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d/%s",
                                   m_descriptor.get(), entry.c_str());
    if (size < 0 || static_cast<std::size_t>(size) >= sizeof address.sun_path) {
        errno = ENOENT;
        return std::nullopt;
    }
    return address;
}

} // namespace Itc
