#ifndef VARNIX_TESTS_ITC_SUPPORT_H
#define VARNIX_TESTS_ITC_SUPPORT_H

/** What the mailbox library's tests are made of: processes, events between them, messages. */

#include "itc.h"
#include "tests/support/waitUntil.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/types.h>

namespace ItcTest {

/** How long a test waits for what must happen. */
inline const std::uint32_t patience = 60'000 * Varnix::Test::slowness();

/** A process of the test's own that runs `body`; its failed expectations make it fail. */
class Process
{
public:
    explicit Process(const std::function<void()>& body);
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process();

    pid_t id() const { return m_id; }
    /** Ends it as only the kernel can. */
    void kill();
    void stop();
    void resume();
    /** Waits for its end; its exit status, or minus the signal that ended it. */
    int wait();

private:
    int reap();

    pid_t m_id;
    int m_end;
    bool m_ended = false;
};

/** Runs `body` in a process of its own and expects it to end well. */
void inProcess(const std::function<void()>& body);

/** Something that happens once for each `set`, in whatever process, and can be waited for. */
class Event
{
public:
    Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;
    ~Event();

    void set() const;
    /** Takes one; false when it did not come in time. */
    bool wait() const;

private:
    int m_ends[2];
};

struct Received
{
    std::uint32_t number;
    std::uint32_t sender;
};

int init();
std::uint32_t create(const std::string& name);
/** Initialises the process and creates the thread's mailbox; expects both to go well. */
std::uint32_t open(const std::string& name);
itc_msg* alloc(std::uint32_t number, std::size_t size = sizeof(std::uint32_t));
void send(std::uint32_t to, std::uint32_t number, std::size_t size = sizeof(std::uint32_t));
void locate(const std::string& name, std::uint32_t number, std::uint32_t to = ITC_MY_MBOX_ID);
std::uint32_t monitor(std::uint32_t mailbox, std::uint32_t number);

itc_msg* receiveRaw(std::uint32_t timeout = patience);
std::optional<Received> receive(std::uint32_t timeout = patience,
                                std::initializer_list<std::uint32_t> numbers = {},
                                std::uint32_t from = ITC_FROM_ALL);
/** The number of the next message, or 0. */
std::uint32_t receiveNumber(std::uint32_t timeout = patience);
/** Waits until a mailbox of that name exists; its id, or ITC_NO_MBOX_ID. */
std::uint32_t find(const std::string& name);

/** The process's own limit while this lives. */
class Limit
{
public:
    Limit(__rlimit_resource what, rlim_t value);
    Limit(const Limit&) = delete;
    Limit& operator=(const Limit&) = delete;
    ~Limit();

private:
    const __rlimit_resource m_what;
    rlimit m_before{};
};

/** The lowest descriptor that is free. */
rlim_t firstFreeDescriptor();

std::size_t openDescriptors();
std::size_t threads();

/** A directory for mailboxes that only one test uses. */
class MailboxDirectory : public ::testing::Test
{
protected:
    MailboxDirectory();
    ~MailboxDirectory() override;
    const std::filesystem::path& directory() const { return m_directory; }
    std::size_t entries() const;

private:
    std::filesystem::path m_directory;
};

} // namespace ItcTest

#endif
