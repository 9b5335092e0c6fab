#include "recording/fileWatch.h"

#include "recording/failure.h"

#include <array>
#include <system_error>
#include <utility>

#include <sys/inotify.h>
#include <unistd.h>

namespace Varnix::Recording {

namespace fs = std::filesystem;

FileWatch::FileWatch(fs::path directory)
    : m_directory(std::move(directory)), m_events(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
{
    require(m_events.isOpen(), "inotify_init1");
    watchAll();
}

void FileWatch::acknowledge()
{
    std::array<char, 4096> ignored{};
    while (::read(m_events.get(), ignored.data(), ignored.size()) > 0) {
    }
    watchAll();
}

void FileWatch::watchAll()
{
    // Each directory is watched before it is listed, so that nothing is made unseen in between.
    const auto watch = [&](const fs::path& path) {
        ::inotify_add_watch(m_events.get(), path.c_str(),
                            IN_CREATE | IN_MODIFY | IN_MOVED_TO | IN_ONLYDIR);
    };
    watch(m_directory);
    std::error_code ignored; // directories come and go
    for (fs::recursive_directory_iterator entry(m_directory, ignored), end;
         !ignored && entry != end; entry.increment(ignored)) {
        std::error_code gone;
        if (entry->is_directory(gone))
            watch(entry->path());
    }
}

} // namespace Varnix::Recording
