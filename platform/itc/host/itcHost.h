#ifndef VARNIX_PLATFORM_ITC_HOST_H
#define VARNIX_PLATFORM_ITC_HOST_H

/**
 * What the host's libitc tells beyond the node's, for the host's subscription server. A program
 * that uses it runs on a host only.
 */

#include <itc.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The size of a message in bytes, its number included. */
size_t __itc_host_size(union itc_msg* msg);

/**
 * Sends as __itc_send does. Returns 1 where the message waits for its receiver, who will find it
 * unless it ends first; 0 where the receiver has gone or the message could not be handed over.
 */
int __itc_host_send(union itc_msg** msg, uint32_t to, uint32_t from, const char* file, int line);

/** The other end of what this process sends to a mailbox. */
struct itc_host_peer
{
    int32_t process;  /* its process id; 0 where it has none in this process's pid namespace */
    uint64_t waiting; /* bytes that this process has sent to it and that it has not taken */
};

/** Returns 1 and sets `*peer`; 0 where the mailbox has gone or cannot be reached. */
int __itc_host_peer(uint32_t mailbox, struct itc_host_peer* peer, const char* file, int line);

#ifdef __cplusplus
}
#endif

#endif
