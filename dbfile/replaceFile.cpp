#include "dbfile/descriptor.h"
#include "dbfile/fileIo.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace Varnix::DbFile {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const fs::path& path, const std::string& why)
{
    throw FileError("cannot write " + path.string() + ": " + why);
}

[[noreturn]] void failWithErrno(const fs::path& path)
{
    fail(path, std::system_category().message(errno));
}

fs::path directoryOf(const fs::path& path)
{
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

/** Keeps signals from ending the process between the temporary file's creation and its end. */
class SignalHold
{
public:
    SignalHold() noexcept
    {
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM})
            sigaddset(&held, signal);
        pthread_sigmask(SIG_BLOCK, &held, &m_mask);
        // A file that grows beyond the process's limit is an error to report, not an end.
        struct sigaction ignore = {};
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGXFSZ, &ignore, &m_sizeLimit);
    }
    ~SignalHold()
    {
        sigaction(SIGXFSZ, &m_sizeLimit, nullptr);
        pthread_sigmask(SIG_SETMASK, &m_mask, nullptr);
    }
    SignalHold(const SignalHold&) = delete;
    SignalHold& operator=(const SignalHold&) = delete;

private:
    sigset_t m_mask{};
    struct sigaction m_sizeLimit
    {
    };
};

/** A new file beside `target`, removed with this object unless it takes the target's place. */
class TemporaryFile
{
public:
    explicit TemporaryFile(const fs::path& target) : m_target(target)
    {
        for (unsigned attempt = 0; !m_file.isOpen(); ++attempt) {
            m_path = directoryOf(target) / (".varnix-" + std::to_string(::getpid()) + "-" +
                                            std::to_string(attempt) + ".tmp");
            m_file =
                Descriptor(::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
            if (!m_file.isOpen() && errno != EEXIST)
                failWithErrno(m_target);
        }
    }
    ~TemporaryFile()
    {
        if (!m_renamed)
            ::unlink(m_path.c_str());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    void write(std::string_view content)
    {
        while (!content.empty()) {
            const ssize_t count = ::write(m_file.get(), content.data(), content.size());
            if (count >= 0)
                content.remove_prefix(static_cast<std::size_t>(count));
            else if (errno != EINTR)
                failWithErrno(m_target);
        }
        if (::fsync(m_file.get()) != 0 || !m_file.close())
            failWithErrno(m_target);
    }

    void takePlace()
    {
        if (std::rename(m_path.c_str(), m_target.c_str()) != 0)
            failWithErrno(m_target);
        m_renamed = true;
    }

private:
    fs::path m_target;
    fs::path m_path;
    Descriptor m_file{-1};
    bool m_renamed = false;
};

/** The file that is to be replaced: where the path leads, if it leads to a regular file. */
fs::path resolved(const fs::path& path)
{
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found)
        return path;
    if (error)
        fail(path, error.message());
    if (status.type() != fs::file_type::regular)
        fail(path, status.type() == fs::file_type::directory ? "it is a directory"
                                                             : "it is not a regular file");
    if (!fs::is_symlink(path, error))
        return path;
    fs::path target = fs::canonical(path, error);
    if (error)
        fail(path, error.message());
    return target;
}

void flushDirectory(const fs::path& directory)
{
    const Descriptor descriptor(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // Some file systems cannot flush a directory and say so with EINVAL.
    if (!descriptor.isOpen() || (::fsync(descriptor.get()) != 0 && errno != EINVAL))
        failWithErrno(directory);
}

} // namespace

void replaceFile(const std::string& path, std::string_view content)
{
    const fs::path target = resolved(path);
    const SignalHold hold;
    TemporaryFile file(target);
    file.write(content);
    file.takePlace();
    flushDirectory(directoryOf(target));
}

} // namespace Varnix::DbFile
