#include "directory.h"

#include "entries.h"
#include "itc.h"
#include "report.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/socket.h>

namespace Itc {

namespace {

/** The kernel lowers it to the host's net.core.somaxconn. */
constexpr int backlog = 1 << 16;
/** A socket is made in far less. */
constexpr std::time_t secondsToMakeASocket = 60;

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

/** Whether nobody is behind a socket's path: errno after a connect to it. */
bool saysDead(int error) noexcept
{
    return error == ECONNREFUSED || error == ENOENT || error == ELOOP || error == ENOTDIR;
}

std::uint32_t randomNumber()
{
    std::uint32_t number = 0;
    if (::getrandom(&number, sizeof number, 0) != static_cast<ssize_t>(sizeof number))
        throwErrno("cannot choose a mailbox id");
    return number;
}

} // namespace

Directory::Directory() : m_lastId(randomNumber() % lastId) {}

void Directory::open()
{
    if (!m_probe)
        m_probe = makeSocket(SOCK_DGRAM);
    m_place.open();
    sweep();
}

std::uint32_t Directory::newId()
{
    struct stat status
    {
    };
    do
        m_lastId = m_lastId >= lastId ? 1 : m_lastId + 1;
    while (m_place.isOpen() && ::fstatat(m_place.descriptor(), endpointEntry(m_lastId).c_str(),
                                         &status, AT_SYMLINK_NOFOLLOW) == 0);
    m_ours.emplace(m_lastId, false);
    return m_lastId;
}

Descriptor Directory::bindEndpoint(std::uint32_t id)
{
    Descriptor made = bindSocket(SOCK_STREAM, endpointEntry(id));
    m_ours[id] = true;
    return made;
}

std::uint32_t Directory::claim(const std::string& nameEntry, std::uint32_t id)
{
    ensureUsable();
    constexpr int attempts = 3; // others may come and go in between
    for (int i = 0; i < attempts; ++i) {
        if (::symlinkat(endpointEntry(id).c_str(), m_place.descriptor(), nameEntry.c_str()) == 0)
            return id;
        if (errno != EEXIST)
            throwErrno("cannot name a mailbox in " + m_place.path());
        const std::uint32_t holder = ownerOf(nameEntry);
        if (holder != ITC_NO_MBOX_ID && isReachable(holder))
            return holder;
        const Descriptor held = tryLock();
        removeDeadName(nameEntry);
    }
    throw std::system_error(EAGAIN, std::generic_category(),
                            "cannot name a mailbox: others take " + m_place.path() + "/" +
                                nameEntry);
}

void Directory::remove(std::uint32_t id, const std::string& nameEntry) noexcept
{
    m_ours.erase(id);
    if (!m_place.isOpen())
        return;
    try {
        if (!nameEntry.empty() && ownerOf(nameEntry) == id)
            m_place.remove(nameEntry);
        m_place.remove(endpointEntry(id));
    } catch (const std::exception&) { // whoever wants the name will see that its owner has gone
    }
}

std::uint32_t Directory::find(std::string_view name)
{
    ensureUsable();
    const auto entry = nameEntry(name);
    const std::uint32_t id = entry ? ownerOf(*entry) : ITC_NO_MBOX_ID;
    return id != ITC_NO_MBOX_ID && isReachable(id) ? id : ITC_NO_MBOX_ID;
}

Descriptor Directory::connect(std::uint32_t id)
{
    const auto mine = m_ours.find(id);
    if (mine != m_ours.end() && !mine->second)
        throw std::system_error(EAGAIN, std::generic_category(),
                                "mailbox 0x" + toHex(id) + " is not made yet");
    ensureUsable();
    Descriptor made = makeSocket(SOCK_STREAM);
    const sockaddr_un address = m_place.addressOf(endpointEntry(id));
    if (::connect(made.get(), generic(address), sizeof address) == 0)
        return made;
    if (!saysDead(errno) && errno != EPROTOTYPE)
        throwErrno("cannot reach mailbox 0x" + toHex(id));
    return {};
}

Directory::Channel Directory::openChannel()
{
    std::string entry = channelEntry(randomNumber());
    return {bindSocket(SOCK_DGRAM, entry), entry};
}

void Directory::wakeWaiters()
{
    ensureUsable();
    for (const std::string& entry : m_place.list("w")) {
        const sockaddr_un address = m_place.addressOf(entry);
        // A waiter whose queue is full has been woken already.
        if (::sendto(m_probe.get(), "", 1, MSG_DONTWAIT | MSG_NOSIGNAL, generic(address),
                     sizeof address) < 0 &&
            errno == ECONNREFUSED)
            m_place.remove(entry);
    }
}

/** Opens the directory where that is owed. */
void Directory::ensureUsable()
{
    if (!m_place.isOpen())
        open();
    m_place.checkUser();
}

/** Removes what dead processes left. What cannot be removed now, another process will. */
void Directory::sweep()
{
    try {
        const Descriptor held = tryLock();
        for (const std::string& entry : m_place.list("mntw"))
            if (entry.starts_with("n-"))
                removeDeadName(entry);
            else if (isLeftOver(entry))
                m_place.remove(entry);
    } catch (const std::exception&) { // nothing depends on it
    }
}

Descriptor Directory::tryLock() const
{
    Descriptor held(::openat(m_place.descriptor(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (held && ::flock(held.get(), LOCK_EX | LOCK_NB) == 0)
        return held;
    throwErrno(held && errno == EWOULDBLOCK
                   ? "another process holds the lock of the mailbox directory " + m_place.path() +
                         " (fuser shows which; it may be stopped)"
                   : "cannot lock the mailbox directory " + m_place.path());
}

/**
 * A socket that is bound, and listens where it can. It gets its entry last: whoever finds the entry
 * reaches the socket.
 */
Descriptor Directory::bindSocket(int type, const std::string& entry)
{
    ensureUsable();
    Descriptor made = makeSocket(type);
    const std::string passing = passingEntry(entry);
    const sockaddr_un address = m_place.addressOf(passing);
    const int directory = m_place.descriptor();
    if (::bind(made.get(), generic(address), sizeof address) != 0 ||
        ::fchmodat(directory, passing.c_str(), S_IRWXU, 0) != 0 ||
        (type == SOCK_STREAM && ::listen(made.get(), backlog) != 0) ||
        (::renameat2(directory, passing.c_str(), directory, entry.c_str(), RENAME_NOREPLACE) != 0 &&
         (errno != EINVAL ||
          ::renameat(directory, passing.c_str(), directory, entry.c_str()) != 0))) {
        const int error = errno;
        m_place.remove(passing);
        errno = error;
        throwErrno("cannot make a mailbox in " + m_place.path());
    }
    return made;
}

/** With the lock held: see the top of directory.h. */
void Directory::removeDeadName(const std::string& nameEntry)
{
    const std::uint32_t owner = ownerOf(nameEntry);
    if ((owner != ITC_NO_MBOX_ID && isReachable(owner)) || ownerOf(nameEntry) != owner)
        return;
    if (owner != ITC_NO_MBOX_ID && !isAlive(endpointEntry(owner)))
        m_place.remove(endpointEntry(owner));
    if (!m_place.remove(nameEntry) && errno == EISDIR)
        throw std::runtime_error("cannot name a mailbox: remove the directory " + m_place.path() +
                                 "/" + nameEntry);
}

/** The mailbox that a name leads to. Throws where that cannot be told: it may be a live one. */
std::uint32_t Directory::ownerOf(const std::string& entry) const
{
    std::array<char, 16> target{};
    const ssize_t size =
        ::readlinkat(m_place.descriptor(), entry.c_str(), target.data(), target.size());
    if (size < 0 && errno != ENOENT && errno != EINVAL)
        throwErrno("cannot look a mailbox up in " + m_place.path());
    return endpointId({target.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))})
        .value_or(ITC_NO_MBOX_ID);
}

/**
 * Whether a process has that socket bound. Asked with a datagram socket, which a mailbox's
 * endpoint turns down without noticing.
 */
bool Directory::isAlive(const std::string& entry) const
{
    const sockaddr_un address = m_place.addressOf(entry);
    return ::connect(m_probe.get(), generic(address), sizeof address) == 0 || !saysDead(errno);
}

/** Whether a mailbox takes connections, which a socket that is only bound does not. */
bool Directory::isReachable(std::uint32_t id)
{
    try {
        return static_cast<bool>(connect(id));
    } catch (const std::system_error& error) {
        if (error.code().value() != EAGAIN || isOurs(id))
            throw;
        return true; // very many wait for it already
    }
}

bool Directory::isLeftOver(const std::string& entry) const
{
    if (isAlive(entry))
        return false;
    struct stat status
    {
    };
    return !entry.starts_with("t-") ||
           (::fstatat(m_place.descriptor(), entry.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            std::time(nullptr) - status.st_ctime > secondsToMakeASocket);
}

} // namespace Itc
