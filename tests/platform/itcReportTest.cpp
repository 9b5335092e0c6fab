#include "report.h"

#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace Itc {
namespace {

std::string reported(const std::exception& error, const char* file = "client.cpp", int line = 7)
{
    testing::internal::CaptureStderr();
    report(file, line, error);
    return testing::internal::GetCapturedStderr();
}

std::string reportedOwed(const std::exception& error)
{
    testing::internal::CaptureStderr();
    reportOwed("client.cpp", 7, error);
    return testing::internal::GetCapturedStderr();
}

std::system_error failure(int error)
{
    return {error, std::generic_category(), "cannot make a socket"};
}

TEST(ItcReport, ShortageIsReportedWithWhatWouldEndIt)
{
    const std::string closeSome = "raise the limit of open files (ulimit -n) or close some";
    const std::string makeRoom = "make room in the file system of the mailbox directory";
    const std::string memory = "memory is short on this host";
    const std::string again = "this is tried again until it succeeds: ";
    const std::string passes = "it may pass by itself";
    for (const auto& [error, remedy] : {std::pair{EMFILE, closeSome},
                                        {ENFILE, closeSome},
                                        {ETOOMANYREFS, closeSome},
                                        {ENOSPC, makeRoom},
                                        {EDQUOT, makeRoom},
                                        {ENOMEM, memory},
                                        {ENOBUFS, memory},
                                        {EAGAIN, passes},
                                        {EADDRINUSE, passes},
                                        {EINTR, passes},
                                        {EIO, "the host's storage fails"},
                                        {ENOLCK, "the host's file locks fail"}}) {
        const std::string what =
            "client.cpp:7: itc: cannot make a socket: " + std::string(std::strerror(error)) + "; ";
        EXPECT_EQ(reported(failure(error)), what + remedy + "\n");
        EXPECT_EQ(reportedOwed(failure(error)), what + again + remedy + "\n");
        EXPECT_TRUE(mayPass(failure(error)));
    }
    EXPECT_EQ(reported(std::bad_alloc()), "client.cpp:7: itc: std::bad_alloc; " + memory + "\n");
    EXPECT_EQ(reportedOwed(std::bad_alloc()),
              "client.cpp:7: itc: std::bad_alloc; " + again + memory + "\n");
}

TEST(ItcReport, AnotherErrorIsNotCalledAShortage)
{
    EXPECT_EQ(reported(failure(EACCES)),
              "client.cpp:7: itc: cannot make a socket: Permission denied\n");
    EXPECT_EQ(reported(std::runtime_error("not so")), "client.cpp:7: itc: not so\n");
    EXPECT_EQ(reportedOwed(std::runtime_error("not so")), "client.cpp:7: itc: not so\n");
    EXPECT_FALSE(mayPass(failure(EACCES)));
    EXPECT_FALSE(mayPass(std::runtime_error("not so")));
}

TEST(ItcReport, WithoutAPlaceTheLineBeginsWithTheLibrary)
{
    EXPECT_EQ(reported(std::runtime_error("not so"), nullptr), "itc: not so\n");
    EXPECT_EQ(reported(std::runtime_error("not so"), ""), "itc: not so\n");
}

TEST(ItcReport, TextThatIsTooLongIsStillOneLine)
{
    testing::internal::CaptureStderr();
    report(nullptr, 0, std::string(5000, 'x').c_str());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "itc: " + std::string(1017, 'x') + "\n");
}

TEST(ItcReport, ErrnoBecomesAnExceptionThatSaysWhatFailed)
{
    errno = EPERM;
    try {
        throwErrno("cannot do it");
    } catch (const std::system_error& error) {
        EXPECT_STREQ(error.what(), "cannot do it: Operation not permitted");
        EXPECT_EQ(error.code(), std::errc::operation_not_permitted);
    }
}

/** Puts another descriptor in the place of standard error while it lives. */
class StandardErrorInto
{
public:
    explicit StandardErrorInto(int fd) : m_saved(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3))
    {
        ::dup2(fd, STDERR_FILENO);
    }
    ~StandardErrorInto()
    {
        ::dup2(m_saved, STDERR_FILENO);
        ::close(m_saved);
    }
    StandardErrorInto(const StandardErrorInto&) = delete;
    StandardErrorInto& operator=(const StandardErrorInto&) = delete;

private:
    int m_saved;
};

TEST(ItcReport, LineIsDroppedWhereStandardErrorTakesNothing)
{
    int ends[2] = {};
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    const std::string page(4096, 'x');
    while (::write(ends[1], page.data(), page.size()) > 0) {
    }
    ::fcntl(ends[1], F_SETFL, 0); // from here on a write would wait for ever
    {
        const StandardErrorInto full(ends[1]);
        report(nullptr, 0, "not so");
    }
    std::string held(page.size(), '\0');
    while (::read(ends[0], held.data(), held.size()) > 0)
        EXPECT_EQ(held, page);
    ::close(ends[0]);
    ::close(ends[1]);
}

} // namespace
} // namespace Itc
