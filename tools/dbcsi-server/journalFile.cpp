#include "journalFile.h"

#include "complain.h"

#include <array>
#include <cerrno>
#include <exception>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Dbcsi {
namespace {

/** Where the system call failed, as its error says. */
JournalError errorOf(const std::string& path, const char* what)
{
    return JournalError{path + ": " + what + ": " + std::generic_category().message(errno)};
}

int openFile(const std::string& path)
{
    const int fd =
        ::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600);
    if (fd < 0)
        throw errorOf(path, "cannot be opened");
    return fd;
}

/** Waits for a pipe or a terminal whose reader is slow, but not for one that does not read. */
bool takesMore(int fd) noexcept
{
    constexpr int milliseconds = 1000;
    pollfd journal{fd, POLLOUT, 0};
    return ::poll(&journal, 1, milliseconds) > 0;
}

} // namespace

JournalFile::JournalFile(const std::string& path) : m_path(path), m_fd(openFile(path), "open")
{
    struct stat status
    {
    };
    if (::fstat(m_fd.get(), &status) != 0)
        fail("cannot be opened");
    m_regular = S_ISREG(status.st_mode);
    if (!m_regular)
        return;
    m_size = status.st_size;
    if (::flock(m_fd.get(), LOCK_EX | LOCK_NB) != 0)
        fail(errno == EWOULDBLOCK ? "another server writes it" : "cannot be locked");
}

std::string JournalFile::content() const
{
    std::string content;
    std::array<char, 1 << 16> buffer{};
    while (static_cast<off_t>(content.size()) < m_size) {
        const ssize_t count =
            ::pread(m_fd.get(), buffer.data(), buffer.size(), static_cast<off_t>(content.size()));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            fail("cannot be read");
        if (count == 0)
            break;
        content.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return content;
}

void JournalFile::append(const std::string& text)
{
    const char* const end = m_open ? "\n" : "";
    add((m_owed.empty() ? end : m_owed) + text);
    m_owed.clear();
}

void JournalFile::endLine(const std::string& text) noexcept
{
    try {
        m_owed = text + '\n';
        add(m_owed);
        m_owed.clear();
    } catch (const std::exception& error) {
        complain(reason(error));
    }
}

void JournalFile::add(const std::string& text)
{
    if (m_torn)
        cutTo(m_size);
    if (m_torn)
        fail("cannot be written");
    try {
        writeAll(text);
    } catch (const JournalError&) {
        const bool open = m_open;
        cutTo(m_size);
        m_open = open;
        throw;
    }
    m_size += static_cast<off_t>(text.size());
    if (!text.empty())
        m_open = !text.ends_with('\n');
}

void JournalFile::writeAll(std::string_view text) const
{
    while (!text.empty()) {
        const ssize_t count = ::write(m_fd.get(), text.data(), text.size());
        if (count < 0 && (errno == EINTR || (errno == EAGAIN && takesMore(m_fd.get()))))
            continue;
        if (count < 0)
            fail("cannot be written");
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

void JournalFile::sync() const
{
    // Devices and pipes have nothing to wait for.
    if (m_regular && ::fdatasync(m_fd.get()) != 0)
        fail("cannot be written");
}

void JournalFile::cutTo(off_t size) noexcept
{
    const int error = errno;
    m_torn = m_regular && ::ftruncate(m_fd.get(), size) != 0;
    m_size = size;
    m_open = false;
    if (!m_torn)
        errno = error;
}

void JournalFile::fail(const char* what) const
{
    throw errorOf(m_path, what);
}

} // namespace Dbcsi
