#include "recording/session.h"

#include "recording/failure.h"
#include "recording/waiting.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>

#include <lttng/lttng.h>

namespace Varnix::Recording {

namespace {

namespace fs = std::filesystem;

constexpr const char* provider = "com_quilmar_velsko_varnix";
constexpr const char* channelName = "records";

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
        throw Failure(std::string(what) + ": " + lttng_strerror(result));
    return result;
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

void createChannel(lttng_handle* handle, unsigned writtenAfter)
{
    lttng_domain domain = userSpace();
    const Handle<lttng_channel, lttng_channel_destroy> channel(lttng_channel_create(&domain));
    require(channel != nullptr, "lttng_channel_create");
    static_cast<void>(std::snprintf(channel->name, sizeof channel->name, "%s", channelName));
    channel->enabled = 1;
    channel->attr.subbuf_size = 1U << 20U;
    channel->attr.num_subbuf = 4;
    channel->attr.switch_timer_interval = writtenAfter;
    checked(lttng_enable_channel(handle, channel.get()), "lttng_enable_channel");
}

void enableEvents(lttng_handle* handle, const char* name, const char* filter)
{
    const Handle<lttng_event, lttng_event_destroy> event(lttng_event_create());
    require(event != nullptr, "lttng_event_create");
    static_cast<void>(std::snprintf(event->name, sizeof event->name, "%s:%s", provider, name));
    event->type = LTTNG_EVENT_TRACEPOINT;
    event->loglevel_type = LTTNG_EVENT_LOGLEVEL_ALL;
    checked(lttng_enable_event_with_filter(handle, event.get(), channelName, filter),
            "lttng_enable_event_with_filter");
}

void addContext(lttng_handle* handle, lttng_event_context_type type)
{
    lttng_event_context context{};
    context.ctx = type;
    checked(lttng_add_context(handle, &context, nullptr, channelName), "lttng_add_context");
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

/** Destroys the sessions of dead processes, whoever has removed their directories. */
void destroyOrphans(const std::string& prefix)
{
    lttng_session* list = nullptr;
    const int count = checked(lttng_list_sessions(&list), "lttng_list_sessions");
    const std::unique_ptr<lttng_session, Free> owned(list);
    for (const lttng_session& session : std::span(list, static_cast<std::size_t>(count)))
        if (isOrphan(fs::path(session.path), prefix))
            lttng_destroy_session(session.name);
}

} // namespace

Session::Session(const Settings& settings)
    : m_use(settings.daemon), m_directory(settings.prefix), m_name(m_directory.name())
{
    {
        const DaemonLock lock;
        startDaemon(m_use);
        destroyOrphans(settings.prefix);
        removeOrphans(settings.prefix);
        const std::string url = "file://" + m_directory.path().string();
        checked(lttng_create_session(m_name.c_str(), url.c_str()), "lttng_create_session");
    }
    try {
        create(settings);
    } catch (const Failure&) {
        lttng_destroy_session(m_name.c_str());
        endUnusedDaemon();
        throw;
    }
}

void Session::create(const Settings& settings)
{
    const ControlHandle handle = control(m_name);
    createChannel(handle.get(), settings.writtenAfter);
    if (settings.events == Events::ALL) {
        enableEvents(handle.get(), "*", nullptr);
    } else {
        enableEvents(handle.get(), "ERROR", nullptr);
        enableEvents(handle.get(), "INFO", "msg == \"ABN: *\"");
    }
    addContext(handle.get(), LTTNG_EVENT_CONTEXT_VPID);
    addContext(handle.get(), LTTNG_EVENT_CONTEXT_PROCNAME);
    if (settings.processes == Processes::FOLLOWED)
        followNobody(m_name);
    start();
}

Session::~Session()
{
    // Stopped first, so that nothing more is written into the directory.
    lttng_stop_tracing_no_wait(m_name.c_str());
    waitFor([&] { return lttng_data_pending(m_name.c_str()) != 1; });
    if (m_use == DaemonUse::FOR_GOOD) {
        lttng_destroy_session_no_wait(m_name.c_str());
        return;
    }
    lttng_destroy_session(m_name.c_str());
    endUnusedDaemon();
}

void Session::follow(pid_t process) const
{
    const auto status = lttng_process_attr_virtual_process_id_tracker_handle_add_pid(
        processTracker(m_name).get(), process);
    require(status == LTTNG_PROCESS_ATTR_TRACKER_HANDLE_STATUS_OK ||
                status == LTTNG_PROCESS_ATTR_TRACKER_HANDLE_STATUS_EXISTS,
            "lttng_process_attr_virtual_process_id_tracker_handle_add_pid");
}

void Session::stop() const
{
    checked(lttng_stop_tracing_no_wait(m_name.c_str()), "lttng_stop_tracing_no_wait");
    require(waitFor([&] { return lttng_data_pending(m_name.c_str()) == 0; }),
            "waiting for the trace to be written");
}

void Session::start() const
{
    checked(lttng_start_tracing(m_name.c_str()), "lttng_start_tracing");
}

fs::path Session::files() const
{
    if (!m_isRotated)
        return m_directory.path();
    // The directory of the current part is the one beside "archives".
    for (const fs::directory_entry& entry : fs::directory_iterator(m_directory.path()))
        if (entry.is_directory() && entry.path().filename() != "archives")
            return entry.path();
    return m_directory.path() / "nothing-yet";
}

fs::path Session::rotate()
{
    lttng_rotation_handle* made = nullptr;
    checked(lttng_rotate_session(m_name.c_str(), nullptr, &made), "lttng_rotate_session");
    const Handle<lttng_rotation_handle, lttng_rotation_handle_destroy> handle(made);
    m_isRotated = true;
    lttng_rotation_state state = LTTNG_ROTATION_STATE_ONGOING;
    require(waitFor([&] {
                return lttng_rotation_handle_get_state(handle.get(), &state) !=
                           LTTNG_ROTATION_STATUS_OK ||
                       state != LTTNG_ROTATION_STATE_ONGOING;
            }) &&
                state == LTTNG_ROTATION_STATE_COMPLETED,
            "waiting for the rotation");
    const lttng_trace_archive_location* location = nullptr;
    const char* path = nullptr;
    require(lttng_rotation_handle_get_archive_location(handle.get(), &location) ==
                    LTTNG_ROTATION_STATUS_OK &&
                lttng_trace_archive_location_local_get_absolute_path(location, &path) ==
                    LTTNG_TRACE_ARCHIVE_LOCATION_STATUS_OK,
            "asking for the rotation's result");
    return path;
}

std::uint64_t Session::discarded() const
{
    const ControlHandle handle = control(m_name);
    lttng_channel* list = nullptr;
    const int count = checked(lttng_list_channels(handle.get(), &list), "lttng_list_channels");
    const std::unique_ptr<lttng_channel, Free> owned(list);
    std::uint64_t sum = 0;
    for (lttng_channel& channel : std::span(list, static_cast<std::size_t>(count))) {
        std::uint64_t discarded = 0;
        checked(lttng_channel_get_discarded_event_count(&channel, &discarded),
                "lttng_channel_get_discarded_event_count");
        sum += discarded;
    }
    return sum;
}

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

} // namespace Varnix::Recording
