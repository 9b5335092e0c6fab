// A watcher in GLib's main loop.
#include "feed.h"

#include <glib-unix.h>

namespace {

struct Program
{
    Feed feed;
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
};

gboolean look(int /*fd*/, GIOCondition /*condition*/, void* data)
{
    auto* const program = static_cast<Program*>(data);
    program->feed.watcher.look();
    if (program->feed.isOver())
        g_main_loop_quit(program->loop);
    return G_SOURCE_CONTINUE;
}

} // namespace

int main()
{
    Program program;
    const guint source = g_unix_fd_add(program.feed.watcher.fd(), G_IO_IN, look, &program);
    g_main_loop_run(program.loop);
    g_source_remove(source);
    g_main_loop_unref(program.loop);
}
