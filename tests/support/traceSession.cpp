#include "tests/support/traceSession.h"

#include "tests/support/waitUntil.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <system_error>

#include <lttng/lttng.h>
#include <unistd.h>

namespace Varnix::Test {

namespace {

constexpr const char* provider = "com_quilmar_velsko_varnix";
constexpr const char* channelName = "records";
constexpr std::string_view sessionPrefix = "varnix-test-";

struct Free
{
    void operator()(void* memory) const noexcept { std::free(memory); }
};

template <auto destroy>
struct Destroy
{
    template <typename T>
    void operator()(T* object) const noexcept
    {
        destroy(object);
    }
};

template <typename T, auto destroy>
using Handle = std::unique_ptr<T, Destroy<destroy>>;

/** Throws for the negative code of a control call; returns a count otherwise. */
int checked(int result, const char* what)
{
    if (result < 0)
        throw std::runtime_error(std::string(what) + ": " + lttng_strerror(result));
    return result;
}

/**
 * Ends a test that cannot say anything without traces where VARNIX_TEST_WITHOUT_TRACES tells that
 * none can be recorded; the runner knows the status.
 */
void skipWithoutTraces()
{
    constexpr int skipped = 77;
    if (std::getenv("VARNIX_TEST_WITHOUT_TRACES") != nullptr) {
        std::puts("Skipped: no trace session can be recorded here.");
        std::fflush(stdout);
        std::_Exit(skipped);
    }
}

void require(bool done, const char* what)
{
    if (!done)
        throw std::runtime_error(std::string(what) + " failed");
}

lttng_domain userSpace()
{
    lttng_domain domain{};
    domain.type = LTTNG_DOMAIN_UST;
    domain.buf_type = LTTNG_BUFFER_PER_UID;
    return domain;
}

using ControlHandle = Handle<lttng_handle, lttng_destroy_handle>;

ControlHandle control(const std::string& session)
{
    lttng_domain domain = userSpace();
    ControlHandle handle(lttng_create_handle(session.c_str(), &domain));
    require(handle != nullptr, "lttng_create_handle");
    return handle;
}

bool daemonAnswers()
{
    return lttng_session_daemon_alive() == 1;
}

void startDaemon()
{
    if (daemonAnswers())
        return;
    // Two tests may do this at once: the second daemon finds the first and gives up.
    const int status = std::system("lttng-sessiond --daemonize --no-kernel >/dev/null 2>&1 3>&-");
    if (!waitUntil(daemonAnswers))
        throw std::runtime_error("no session daemon answers; starting one gave status " +
                                 std::to_string(status));
}

/** The process that a session of ours belongs to. */
std::optional<pid_t> ownerOf(std::string_view session)
{
    if (!session.starts_with(sessionPrefix))
        return std::nullopt;
    session.remove_prefix(sessionPrefix.size());
    pid_t owner = 0;
    const auto parsed = std::from_chars(session.data(), session.data() + session.size(), owner);
    return parsed.ec == std::errc() ? std::optional(owner) : std::nullopt;
}

bool isDead(pid_t process)
{
    return ::kill(process, 0) != 0 && errno == ESRCH;
}

void clearAwayOrphans()
{
    lttng_session* list = nullptr;
    const int count = checked(lttng_list_sessions(&list), "lttng_list_sessions");
    const std::unique_ptr<lttng_session, Free> owned(list);
    for (const lttng_session& session : std::span(list, static_cast<std::size_t>(count))) {
        const auto owner = ownerOf(session.name);
        if (!owner || !isDead(*owner))
            continue;
        lttng_destroy_session(session.name);
        std::error_code ignored; // another test may be clearing it away too
        std::filesystem::remove_all(session.path, ignored);
    }
}

/** Whether the tracer inside the process has reported to the session daemon. */
bool isRegistered(pid_t process)
{
    const ControlHandle handle = control("");
    lttng_event* list = nullptr;
    const int count = lttng_list_tracepoints(handle.get(), &list);
    if (count < 0)
        return false; // a process went while it was asked
    const std::unique_ptr<lttng_event, Free> owned(list);
    const std::span events(list, static_cast<std::size_t>(count));
    return std::any_of(events.begin(), events.end(),
                       [&](const lttng_event& event) { return event.pid == process; });
}

std::filesystem::path makeDirectory()
{
    std::string path = std::filesystem::temp_directory_path() / "varnix-trace-XXXXXX";
    require(::mkdtemp(path.data()) != nullptr, "mkdtemp");
    return path;
}

void createChannel(lttng_handle* handle)
{
    lttng_domain domain = userSpace();
    const Handle<lttng_channel, lttng_channel_destroy> channel(lttng_channel_create(&domain));
    require(channel != nullptr, "lttng_channel_create");
    std::strcpy(channel->name, channelName);
    channel->enabled = 1;
    channel->attr.subbuf_size = 1U << 20U;
    channel->attr.num_subbuf = 4;
    checked(lttng_enable_channel(handle, channel.get()), "lttng_enable_channel");
}

void enableEvents(lttng_handle* handle)
{
    const Handle<lttng_event, lttng_event_destroy> event(lttng_event_create());
    require(event != nullptr, "lttng_event_create");
    std::snprintf(event->name, sizeof event->name, "%s:*", provider);
    event->type = LTTNG_EVENT_TRACEPOINT;
    event->loglevel_type = LTTNG_EVENT_LOGLEVEL_ALL;
    checked(lttng_enable_event(handle, event.get(), channelName), "lttng_enable_event");
}

using Tracker =
    Handle<lttng_process_attr_tracker_handle, lttng_process_attr_tracker_handle_destroy>;

Tracker processTracker(const std::string& session)
{
    lttng_process_attr_tracker_handle* tracker = nullptr;
    require(lttng_session_get_tracker_handle(session.c_str(), LTTNG_DOMAIN_UST,
                                             LTTNG_PROCESS_ATTR_VIRTUAL_PROCESS_ID,
                                             &tracker) == LTTNG_OK,
            "lttng_session_get_tracker_handle");
    return Tracker(tracker);
}

void followNobody(const std::string& session)
{
    require(lttng_process_attr_tracker_handle_set_tracking_policy(
                processTracker(session).get(), LTTNG_TRACKING_POLICY_INCLUDE_SET) ==
                LTTNG_PROCESS_ATTR_TRACKER_HANDLE_STATUS_OK,
            "lttng_process_attr_tracker_handle_set_tracking_policy");
}

void stop(const std::string& session)
{
    checked(lttng_stop_tracing_no_wait(session.c_str()), "lttng_stop_tracing_no_wait");
    require(waitUntil([&] { return lttng_data_pending(session.c_str()) == 0; }),
            "waiting for the trace to be written");
}

bool holdsATrace(const std::filesystem::path& directory)
{
    const std::filesystem::recursive_directory_iterator files(directory);
    return std::any_of(begin(files), end(files),
                       [](const auto& entry) { return entry.path().filename() == "metadata"; });
}

bool readLine(FILE* stream, std::string& line)
{
    char* text = nullptr;
    std::size_t capacity = 0;
    const ssize_t size = ::getline(&text, &capacity, stream);
    const std::unique_ptr<char, Free> owned(text);
    if (size <= 0)
        return false;
    line.assign(text, static_cast<std::size_t>(size) - 1);
    return true;
}

/** The records of a directory but for the first `known`. */
std::vector<TraceRecord> readBehind(std::size_t known, const std::filesystem::path& directory)
{
    std::vector<TraceRecord> records;
    if (!holdsATrace(directory))
        return records;
    const std::string command = "LC_ALL=C exec babeltrace2 --names=all --fields=loglevel "
                                "--clock-cycles '" +
                                directory.string() + "'";
    FILE* const output = ::popen(command.c_str(), "re");
    require(output != nullptr, "popen");
    for (std::string line; readLine(output, line);)
        if (known > 0)
            --known;
        else
            records.push_back(parseTraceRecord(line));
    require(::pclose(output) == 0, "babeltrace2");
    return records;
}

std::string newSessionName()
{
    static std::atomic<int> count{0};
    return std::string(sessionPrefix) + std::to_string(::getpid()) + "-" +
           std::to_string(count.fetch_add(1));
}

} // namespace

TraceSession& TraceSession::ofThisProcess()
{
    skipWithoutTraces();
    static const std::unique_ptr<TraceSession> session = [] {
        startDaemon();
        require(waitUntil([] { return isRegistered(::getpid()); }),
                "waiting for this process to be known to the session daemon");
        auto made = std::make_unique<TraceSession>();
        made->follow(::getpid());
        return made;
    }();
    return *session;
}

TraceSession::TraceSession() : m_name(newSessionName())
{
    skipWithoutTraces();
    startDaemon();
    clearAwayOrphans();
    m_directory = makeDirectory();
    const std::string url = "file://" + m_directory.string();
    checked(lttng_create_session(m_name.c_str(), url.c_str()), "lttng_create_session");

    const ControlHandle handle = control(m_name);
    createChannel(handle.get());
    enableEvents(handle.get());
    lttng_event_context vpid{};
    vpid.ctx = LTTNG_EVENT_CONTEXT_VPID;
    checked(lttng_add_context(handle.get(), &vpid, nullptr, channelName), "lttng_add_context");
    followNobody(m_name);
    checked(lttng_start_tracing(m_name.c_str()), "lttng_start_tracing");
}

TraceSession::~TraceSession()
{
    // Stopped first, so that nothing more is written into the directory; its end need not be
    // awaited.
    lttng_stop_tracing_no_wait(m_name.c_str());
    waitUntil([&] { return lttng_data_pending(m_name.c_str()) != 1; });
    lttng_destroy_session_no_wait(m_name.c_str());
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
}

void TraceSession::follow(pid_t process)
{
    require(lttng_process_attr_virtual_process_id_tracker_handle_add_pid(
                processTracker(m_name).get(), process) ==
                LTTNG_PROCESS_ATTR_TRACKER_HANDLE_STATUS_OK,
            "lttng_process_attr_virtual_process_id_tracker_handle_add_pid");
}

std::vector<TraceRecord> TraceSession::take()
{
    stop(m_name);
    std::vector<TraceRecord> records = readBehind(m_taken, m_directory);
    m_taken += records.size();
    checkNothingDiscarded();
    checked(lttng_start_tracing(m_name.c_str()), "lttng_start_tracing");
    return records;
}

void TraceSession::checkNothingDiscarded()
{
    const ControlHandle handle = control(m_name);
    lttng_channel* list = nullptr;
    const int count = checked(lttng_list_channels(handle.get(), &list), "lttng_list_channels");
    const std::unique_ptr<lttng_channel, Free> owned(list);
    std::uint64_t discarded = 0;
    for (lttng_channel& channel : std::span(list, static_cast<std::size_t>(count)))
        checked(lttng_channel_get_discarded_event_count(&channel, &discarded),
                "lttng_channel_get_discarded_event_count");
    if (std::exchange(m_discarded, discarded) != discarded)
        throw std::runtime_error("the tracer discarded records");
}

} // namespace Varnix::Test
