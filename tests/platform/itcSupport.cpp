#include "itcSupport.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <system_error>
#include <vector>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ItcTest {

namespace {

[[noreturn]] void fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

bool becomesReadable(int fd)
{
    pollfd polled{fd, POLLIN, 0};
    return ::poll(&polled, 1, static_cast<int>(patience)) == 1;
}

std::size_t entriesOf(const std::filesystem::path& directory)
{
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(directory), {}));
}

} // namespace

Process::Process(const std::function<void()>& body)
{
    // The process holds one end; what is read at the other is its end.
    int ends[2];
    if (::pipe(ends) != 0)
        fail("pipe");
    std::fflush(nullptr);
    m_id = ::fork();
    if (m_id < 0)
        fail("fork");
    ::close(ends[m_id == 0 ? 0 : 1]);
    m_end = ends[0];
    if (m_id == 0) {
        body();
        std::exit(::testing::Test::HasFailure() ? 1 : 0);
    }
}

Process::~Process()
{
    if (!m_ended)
        kill();
    ::close(m_end);
}

void Process::kill()
{
    ::kill(m_id, SIGKILL);
    reap();
}

void Process::stop()
{
    ::kill(m_id, SIGSTOP);
    siginfo_t info{};
    ASSERT_EQ(0, ::waitid(P_PID, static_cast<id_t>(m_id), &info, WSTOPPED));
}

void Process::resume()
{
    ::kill(m_id, SIGCONT);
}

int Process::wait()
{
    if (!becomesReadable(m_end)) {
        ADD_FAILURE() << "process " << m_id << " does not end";
        ::kill(m_id, SIGKILL);
    }
    return reap();
}

int Process::reap()
{
    int status = 0;
    if (::waitpid(m_id, &status, 0) != m_id)
        fail("waitpid");
    m_ended = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void inProcess(const std::function<void()>& body)
{
    Process process(body);
    EXPECT_EQ(0, process.wait());
}

Event::Event()
{
    if (::pipe(m_ends) != 0)
        fail("pipe");
}

Event::~Event()
{
    ::close(m_ends[0]);
    ::close(m_ends[1]);
}

void Event::set() const
{
    if (::write(m_ends[1], "", 1) != 1)
        fail("write");
}

bool Event::wait() const
{
    char byte = 0;
    return becomesReadable(m_ends[0]) && ::read(m_ends[0], &byte, 1) == 1;
}

int init()
{
    return __itc_init(1, 0, nullptr, nullptr, 0, __FILE__, __LINE__);
}

std::uint32_t create(const std::string& name)
{
    return __itc_create_mailbox(name.c_str(), 0, __FILE__, __LINE__);
}

std::uint32_t open(const std::string& name)
{
    const int result = init();
    EXPECT_TRUE(result == 0 || result == ITC_ALREADY_INITIALISED) << result;
    const std::uint32_t mailbox = create(name);
    EXPECT_NE(ITC_NO_MBOX_ID, mailbox) << name;
    return mailbox;
}

itc_msg* alloc(std::uint32_t number, std::size_t size)
{
    itc_msg* const message = __itc_alloc(size, number, __FILE__, __LINE__);
    EXPECT_NE(nullptr, message);
    std::memset(message + 1, 0, std::max(size, sizeof *message) - sizeof *message);
    return message;
}

void send(std::uint32_t to, std::uint32_t number, std::size_t size)
{
    itc_msg* message = alloc(number, size);
    __itc_send(&message, to, ITC_MY_MBOX_ID, __FILE__, __LINE__);
    EXPECT_EQ(nullptr, message);
}

void locate(const std::string& name, std::uint32_t number, std::uint32_t to)
{
    itc_msg* message = alloc(number);
    __itc_locate_async(name.c_str(), &message, to, __FILE__, __LINE__);
    EXPECT_EQ(nullptr, message);
}

std::uint32_t monitor(std::uint32_t mailbox, std::uint32_t number)
{
    itc_msg* message = alloc(number);
    const std::uint32_t reference = __itc_monitor(mailbox, &message, __FILE__, __LINE__);
    EXPECT_EQ(nullptr, message);
    return reference;
}

itc_msg* receiveRaw(std::uint32_t timeout)
{
    return __itc_receive(nullptr, timeout, ITC_FROM_ALL, __FILE__, __LINE__);
}

std::optional<Received> receive(std::uint32_t timeout, std::initializer_list<std::uint32_t> numbers,
                                std::uint32_t from)
{
    std::vector<std::uint32_t> filter = {static_cast<std::uint32_t>(numbers.size())};
    filter.insert(filter.end(), numbers);
    itc_msg* message = __itc_receive(numbers.size() == 0 ? nullptr : filter.data(), timeout, from,
                                     __FILE__, __LINE__);
    if (message == nullptr)
        return std::nullopt;
    const Received received{message->msgno, __itc_sender(message, __FILE__, __LINE__)};
    __itc_free(&message, __FILE__, __LINE__);
    EXPECT_EQ(nullptr, message);
    return received;
}

std::uint32_t receiveNumber(std::uint32_t timeout)
{
    const auto received = receive(timeout);
    return received ? received->number : 0;
}

std::uint32_t find(const std::string& name)
{
    constexpr std::uint32_t located = 0x10CA7ED;
    locate(name, located);
    const auto received = receive(patience, {located});
    EXPECT_TRUE(received) << name << " is not found";
    return received ? received->sender : ITC_NO_MBOX_ID;
}

Limit::Limit(__rlimit_resource what, rlim_t value) : m_what(what)
{
    ::getrlimit(what, &m_before);
    const rlimit lowered{value, m_before.rlim_max};
    EXPECT_EQ(0, ::setrlimit(what, &lowered));
}

Limit::~Limit()
{
    ::setrlimit(m_what, &m_before);
}

rlim_t firstFreeDescriptor()
{
    const int free = ::dup(STDERR_FILENO);
    ::close(free);
    return static_cast<rlim_t>(free);
}

std::size_t openDescriptors()
{
    return entriesOf("/proc/self/fd");
}

std::size_t threads()
{
    return entriesOf("/proc/self/task");
}

MailboxDirectory::MailboxDirectory()
{
    // In memory where the host has such a place, as the directory of a real user is.
    const std::filesystem::path memory = "/dev/shm";
    const auto parent =
        std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path();
    std::string name = (parent / "itcTest-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr)
        fail("mkdtemp");
    m_directory = name;
    ::setenv("VARNIX_ITC_DIR", m_directory.c_str(), 1);
}

MailboxDirectory::~MailboxDirectory()
{
    std::filesystem::remove_all(m_directory);
}

/** How many mailbox entries there are. */
std::size_t MailboxDirectory::entries() const
{
    const auto all = entriesOf(m_directory);
    return std::filesystem::exists(m_directory / "lock") ? all - 1 : all;
}

} // namespace ItcTest
