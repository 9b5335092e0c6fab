// A watcher in a loop around epoll.
#include "feed.h"

#include <sys/epoll.h>
#include <unistd.h>

int main()
{
    Feed feed;
    const int loop = ::epoll_create1(EPOLL_CLOEXEC);
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = feed.watcher.fd();
    if (::epoll_ctl(loop, EPOLL_CTL_ADD, feed.watcher.fd(), &event) != 0)
        return 1;
    while (!feed.isOver())
        if (::epoll_wait(loop, &event, 1, -1) == 1 && event.data.fd == feed.watcher.fd())
            feed.watcher.look();
    ::close(loop);
}
