#include "fakeItc.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace Varnix::Test {

namespace {

/** Holds a mutex; gives it back also when the thread is cancelled while it waits. */
class Locked
{
public:
    explicit Locked(pthread_mutex_t& mutex) : m_mutex(mutex) { pthread_mutex_lock(&m_mutex); }
    ~Locked() { pthread_mutex_unlock(&m_mutex); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

private:
    pthread_mutex_t& m_mutex;
};

/** Lowers a flag at the end of a scope, cancellation included. */
class Raised
{
public:
    explicit Raised(bool& flag) : m_flag(flag) { m_flag = true; }
    ~Raised() { m_flag = false; }
    Raised(const Raised&) = delete;
    Raised& operator=(const Raised&) = delete;

private:
    bool& m_flag;
};

} // namespace

FakeItc& FakeItc::instance()
{
    static FakeItc fake;
    return fake;
}

const itc_msg* FakeItc::Message::address() const
{
    return reinterpret_cast<const itc_msg*>(memory.get());
}

void FakeItc::reset()
{
    const Locked locked(m_mutex);
    m_initResult = 0;
    m_mailbox = mailbox;
    m_refused = 0;
    m_hook = nullptr;
    m_receivedHook = nullptr;
    m_inbox.clear();
    m_calls.clear();
    m_messages.clear();
}

FakeItc::Message& FakeItc::make(Bytes bytes, std::uint32_t sender)
{
    Message& message = m_messages.emplace_back();
    message.name = "m" + std::to_string(m_messages.size());
    message.sender = sender;
    message.bytes = std::move(bytes);
    return message;
}

FakeItc::Message& FakeItc::find(const itc_msg* address)
{
    const auto found =
        std::find_if(m_messages.begin(), m_messages.end(), [&](const Message& message) {
            return message.memory && message.address() == address;
        });
    if (found == m_messages.end())
        throw std::logic_error("no message that the client holds");
    return *found;
}

void FakeItc::deliver(const Bytes& message, std::uint32_t sender)
{
    const Locked locked(m_mutex);
    m_inbox.push_back(&make(message, sender));
    pthread_cond_broadcast(&m_changed);
}

void FakeItc::deliverNothing()
{
    const Locked locked(m_mutex);
    m_inbox.push_back(nullptr);
    pthread_cond_broadcast(&m_changed);
}

bool FakeItc::waitUntilIdle()
{
    timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += 20;
    const Locked locked(m_mutex);
    while (!m_receiving || !m_inbox.empty())
        if (pthread_cond_timedwait(&m_changed, &m_mutex, &deadline) == ETIMEDOUT)
            return false;
    return true;
}

std::vector<std::string> FakeItc::newCalls()
{
    const Locked locked(m_mutex);
    return std::exchange(m_calls, {});
}

Bytes FakeItc::bytes(const std::string& name)
{
    const Locked locked(m_mutex);
    for (const Message& message : m_messages)
        if (message.name == name)
            return message.bytes;
    return {};
}

std::vector<std::string> FakeItc::held()
{
    const Locked locked(m_mutex);
    std::vector<std::string> names;
    for (const Message& message : m_messages)
        if (message.memory)
            names.push_back(message.name);
    return names;
}

void FakeItc::called(const std::string& function, const std::string& arguments)
{
    {
        const Locked locked(m_mutex);
        m_calls.push_back(function + '(' + arguments + ')');
    }
    if (m_hook)
        m_hook(function);
}

itc_msg* FakeItc::allocate(std::size_t size, std::uint32_t msgno)
{
    const Locked locked(m_mutex);
    if (msgno == m_refused)
        return nullptr;
    Message& message = make({}, 0);
    message.memory = std::make_unique<unsigned char[]>(size);
    std::memset(message.memory.get(), fresh, size);
    std::memcpy(message.memory.get(), &msgno, sizeof msgno);
    message.bytes.resize(size);
    return reinterpret_cast<itc_msg*>(message.memory.get());
}

itc_msg* FakeItc::receive()
{
    const Locked locked(m_mutex);
    const Raised raised(m_receiving);
    pthread_cond_broadcast(&m_changed);
    while (m_inbox.empty())
        pthread_cond_wait(&m_changed, &m_mutex);
    Message* const message = m_inbox.front();
    m_inbox.pop_front();
    if (message == nullptr)
        return nullptr;
    message->memory = std::make_unique<unsigned char[]>(message->bytes.size());
    std::copy(message->bytes.begin(), message->bytes.end(), message->memory.get());
    if (m_receivedHook)
        m_receivedHook();
    return reinterpret_cast<itc_msg*>(message->memory.get());
}

std::uint32_t FakeItc::senderOf(const itc_msg* message)
{
    const Locked locked(m_mutex);
    return find(message).sender;
}

void FakeItc::take(itc_msg** message)
{
    const Locked locked(m_mutex);
    Message& taken = find(*message);
    std::copy_n(taken.memory.get(), taken.bytes.size(), taken.bytes.begin());
    taken.memory.reset();
    *message = nullptr;
}

std::string FakeItc::nameOf(const itc_msg* message)
{
    const Locked locked(m_mutex);
    return find(message).name;
}

namespace {

std::string hex(std::uint32_t number)
{
    std::ostringstream text;
    text << "0x" << std::hex << number;
    return text.str();
}

std::string pointer(const void* address)
{
    return address == nullptr ? "null" : "not null";
}

/** The arguments of a call, joined as a source would have them; the caller's place comes last. */
template <typename... Arguments>
std::string list(const char* file, int line, const Arguments&... arguments)
{
    std::ostringstream text;
    ((text << arguments << ", "), ...);
    text << '"' << file << "\", " << line;
    return text.str();
}

} // namespace

} // namespace Varnix::Test

using namespace Varnix::Test;

extern "C" {

int __itc_init(int32_t mailboxes, int scheme, void* scheme_params, char* name_space, uint32_t flags,
               const char* file, int line)
{
    FakeItc& fake = FakeItc::instance();
    fake.called("init", list(file, line, mailboxes, scheme, pointer(scheme_params),
                             pointer(name_space), flags));
    return fake.init();
}

uint32_t __itc_create_mailbox(const char* name, uint32_t flags, const char* file, int line)
{
    FakeItc& fake = FakeItc::instance();
    fake.called("create_mailbox", list(file, line, name, flags));
    return fake.createMailbox();
}

void __itc_locate_async(const char* name, union itc_msg** msg, uint32_t reply_to, const char* file,
                        int line)
{
    FakeItc& fake = FakeItc::instance();
    fake.called("locate_async", list(file, line, name, fake.nameOf(*msg), hex(reply_to)));
    fake.take(msg);
}

union itc_msg* __itc_alloc(size_t size, uint32_t msgno, const char* file, int line)
{
    FakeItc& fake = FakeItc::instance();
    fake.called("alloc", list(file, line, size, hex(msgno)));
    return fake.allocate(size, msgno);
}

void __itc_send(union itc_msg** msg, uint32_t to, uint32_t from, const char* file, int line)
{
    FakeItc& fake = FakeItc::instance();
    fake.called("send", list(file, line, fake.nameOf(*msg), hex(to), hex(from)));
    fake.take(msg);
}

union itc_msg* __itc_receive(const uint32_t* filter, uint32_t timeout, uint32_t from,
                             const char* file, int line)
{
    FakeItc& fake = FakeItc::instance();
    fake.called("receive", list(file, line, pointer(filter), hex(timeout), hex(from)));
    return fake.receive();
}

uint32_t __itc_sender(union itc_msg* msg, const char* file, int line)
{
    FakeItc& fake = FakeItc::instance();
    fake.called("sender", list(file, line, fake.nameOf(msg)));
    return fake.senderOf(msg);
}

uint32_t __itc_monitor(uint32_t mailbox, union itc_msg** msg, const char* file, int line)
{
    FakeItc& fake = FakeItc::instance();
    fake.called("monitor", list(file, line, hex(mailbox), fake.nameOf(*msg)));
    fake.take(msg);
    return 1;
}

void __itc_free(union itc_msg** msg, const char* file, int line)
{
    FakeItc& fake = FakeItc::instance();
    fake.called("free", list(file, line, fake.nameOf(*msg)));
    fake.take(msg);
}

} // extern "C"
