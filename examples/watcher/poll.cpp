// A watcher in a loop around poll.
#include "feed.h"

#include <poll.h>

int main()
{
    Feed feed;
    pollfd event{feed.watcher.fd(), POLLIN, 0};
    while (!feed.isOver())
        if (::poll(&event, 1, -1) == 1)
            feed.watcher.look();
}
