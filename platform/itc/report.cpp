#include "report.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <new>
#include <system_error>

#include <sys/select.h>
#include <unistd.h>

namespace Itc {

namespace {

/** Errors of a shortage, and what ends it. */
struct Shortage
{
    int error;
    const char* remedy;
};

constexpr const char* closeSome = "raise the limit of open files (ulimit -n) or close some";
constexpr const char* makeRoom = "make room in the file system of the mailbox directory";
constexpr const char* memory = "memory is short on this host";

constexpr std::array shortages = {
    Shortage{EMFILE, closeSome},
    Shortage{ENFILE, closeSome},
    Shortage{ETOOMANYREFS, closeSome},
    Shortage{ENOSPC, makeRoom},
    Shortage{EDQUOT, makeRoom},
    Shortage{ENOMEM, memory},
    Shortage{ENOBUFS, memory},
    Shortage{EAGAIN, "it may pass by itself"},
    Shortage{EADDRINUSE, "it may pass by itself"},
    Shortage{EINTR, "it may pass by itself"},
    Shortage{EIO, "the host's storage fails"},
    Shortage{ENOLCK, "the host's file locks fail"},
};

/** Null where the error is not a shortage. */
const char* remedyFor(const std::exception& error) noexcept
{
    if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr)
        return memory;
    const auto* const system = dynamic_cast<const std::system_error*>(&error);
    if (system == nullptr)
        return nullptr;
    const auto* const found =
        std::find_if(shortages.begin(), shortages.end(), [&](const Shortage& shortage) {
            return shortage.error == system->code().value();
        });
    return found != shortages.end() ? found->remedy : nullptr;
}

void reportWithRemedy(const char* file, int line, const std::exception& error,
                      const char* beforeRemedy) noexcept
{
    const char* const remedy = remedyFor(error);
    if (remedy == nullptr) {
        report(file, line, error.what());
        return;
    }
    std::array<char, 1000> text;
    static_cast<void>(
        std::snprintf(text.data(), text.size(), "%s; %s%s", error.what(), beforeRemedy, remedy));
    report(file, line, text.data());
}

} // namespace

void throwErrno(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

bool mayPass(const std::exception& error) noexcept
{
    return remedyFor(error) != nullptr;
}

void report(const char* file, int line, const char* text) noexcept
{
    std::array<char, 1024> out;
    const bool hasPlace = file != nullptr && *file != '\0';
    const int size =
        hasPlace ? std::snprintf(out.data(), out.size(), "%s:%d: itc: %s\n", file, line, text)
                 : std::snprintf(out.data(), out.size(), "itc: %s\n", text);
    if (size <= 0)
        return;
    const std::size_t length = std::min(static_cast<std::size_t>(size), out.size() - 1);
    out[length - 1] = '\n';
    // A pipe that can be written at all takes a line of this length at once. No poll, which fails
    // where the limit of open files is 0.
    fd_set standardError;
    FD_ZERO(&standardError);
    FD_SET(STDERR_FILENO, &standardError);
    timeval now{0, 0};
    if (::select(STDERR_FILENO + 1, nullptr, &standardError, nullptr, &now) == 1)
        static_cast<void>(!::write(STDERR_FILENO, out.data(), length));
}

void report(const char* file, int line, const std::exception& error) noexcept
{
    reportWithRemedy(file, line, error, "");
}

void reportOwed(const char* file, int line, const std::exception& error) noexcept
{
    reportWithRemedy(file, line, error, "this is tried again until it succeeds: ");
}

} // namespace Itc
