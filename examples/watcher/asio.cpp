// A watcher in an asio context. The stream closes its descriptor, so it gets a copy.
#include "feed.h"

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <unistd.h>

namespace {

void lookWhenReadable(asio::posix::stream_descriptor& descriptor, Feed& feed)
{
    descriptor.async_wait(asio::posix::stream_descriptor::wait_read,
                          [&](const std::error_code& error) {
                              if (error)
                                  return;
                              feed.watcher.look();
                              if (!feed.isOver())
                                  lookWhenReadable(descriptor, feed);
                          });
}

} // namespace

int main()
{
    Feed feed;
    asio::io_context context;
    asio::posix::stream_descriptor descriptor(context, ::dup(feed.watcher.fd()));
    lookWhenReadable(descriptor, feed);
    context.run();
}
