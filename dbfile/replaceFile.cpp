#include "dbfile/descriptor.h"
#include "dbfile/fileIo.h"
#include "dbfile/shown.h"
#include "dbfile/temporaryFile.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace Varnix::DbFile {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const fs::path& path, const std::string& why)
{
    throw FileError("cannot write " + shown(path.string()) + ": " + why);
}

void require(int error, const fs::path& path)
{
    if (error != 0)
        fail(path, std::system_category().message(error));
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

/** Where the path leads through symbolic links, whether something is there or not. */
fs::path resolved(fs::path path)
{
    const fs::path given = path;
    constexpr int maxLinks = 40; // the kernel's own limit
    std::error_code error;
    for (int links = 0; fs::is_symlink(fs::symlink_status(path, error)); ++links) {
        if (links == maxLinks)
            require(ELOOP, given);
        const fs::path next = fs::read_symlink(path, error);
        require(error.value(), given);
        path = path.parent_path() / next; // an absolute one stays as it is
    }
    return path;
}

/** What is to be replaced; nothing: there is no file yet. What is not a regular file is refused. */
std::optional<struct stat> replaced(const fs::path& path, const fs::path& given)
{
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) {
        const int error = errno;
        if (error == ENOENT)
            return std::nullopt;
        require(error, given);
    }
    if (!S_ISREG(status.st_mode))
        fail(given, S_ISDIR(status.st_mode) ? "it is a directory" : "it is not a regular file");
    return status;
}

void flushDirectory(const fs::path& directory)
{
    const Descriptor descriptor(::open(directory.c_str(), O_RDONLY | O_CLOEXEC));
    const int error = descriptor.isOpen() && ::fsync(descriptor.get()) == 0 ? 0 : errno;
    // Some file systems cannot flush a directory and say so with EINVAL.
    require(descriptor.isOpen() && error == EINVAL ? 0 : error, directory);
}

void keepOwner(const TemporaryFile& file, const struct stat& old, const fs::path& target)
{
    constexpr mode_t permissions = 07777;
    if (const int error = file.setOwner(old.st_uid, old.st_gid, old.st_mode & permissions))
        fail(target, "its owner and mode cannot be kept: " + std::system_category().message(error));
}

} // namespace

void replaceFile(const std::string& path, std::string_view content)
{
    replaceFile(path, [&content] { return std::string(std::exchange(content, {})); });
}

void replaceFile(const std::string& path, const std::function<std::string()>& next)
{
    const fs::path target = resolved(path);
    const std::optional<struct stat> old = replaced(target, path);
    const fs::path directory = directoryOf(target);
    const SignalHold hold;
    removeLeftTemporaryFiles(directory);
    TemporaryFile file;
    // One that replaces a file is nobody else's to read before it has that file's mode.
    require(file.create(directory, old ? 0600 : 0666), target);
    if (old)
        keepOwner(file, *old, target);
    for (std::string piece = next(); !piece.empty(); piece = next())
        require(file.write(piece), target);
    require(file.flush(), target);
    require(file.rename(target), target);
    flushDirectory(directory);
}

} // namespace Varnix::DbFile
