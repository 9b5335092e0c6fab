#ifndef VARNIX_PLATFORM_ITC_H
#define VARNIX_PLATFORM_ITC_H

/**
 * The node's mailbox messaging library (libitc.so.1), as Varnix uses it.
 *
 * Processes and threads exchange messages between mailboxes. A message is a
 * block of bytes that begins with its 32-bit number. Whoever holds a message
 * owns it: an operation that takes a message over takes the address of the
 * caller's pointer and sets it to null; one that only looks takes the pointer.
 *
 * The last two arguments of every operation name the caller's source file and
 * line, for the messaging library's own diagnostics.
 */

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

union itc_msg {
    uint32_t msgno; /* the payload follows */
};

/** No mailbox: the answer of an operation that failed. */
#define ITC_NO_MBOX_ID UINT32_C(0xFFFFFFFF)
/** The calling thread's own mailbox. */
#define ITC_MY_MBOX_ID UINT32_C(0xFFF00000)
/** Any sender, in a receive. */
#define ITC_FROM_ALL UINT32_C(0xFFF11111)
/** No time-out, in a receive. */
#define ITC_NO_TMO UINT32_C(0xFFFFFFFF)
/** What __itc_init returns where the process has initialised it already: it can be used. */
#define ITC_ALREADY_INITIALISED (-2)

/**
 * Prepares the process for `mailboxes` mailboxes. Returns 0, ITC_ALREADY_INITIALISED, or another
 * negative number where messages cannot be used; for want of memory alone if errno is ENOMEM.
 */
int __itc_init(int32_t mailboxes, int scheme, void* scheme_params, char* name_space, uint32_t flags,
               const char* file, int line);

/**
 * Creates the calling thread's mailbox, which goes when the thread ends. Returns its id, or
 * ITC_NO_MBOX_ID where the thread has one already, a live mailbox holds the name, or there is no
 * memory; errno is ENOMEM then.
 */
uint32_t __itc_create_mailbox(const char* name, uint32_t flags, const char* file, int line);

/**
 * Asks for `*msg` to be delivered to `reply_to` as soon as a mailbox of that name exists, now or
 * later; the message's sender is then that mailbox. Takes the message over.
 */
void __itc_locate_async(const char* name, union itc_msg** msg, uint32_t reply_to, const char* file,
                        int line);

/**
 * A new message of `size` bytes, its number included; what follows the number is not set. Null when
 * memory is exhausted.
 */
union itc_msg* __itc_alloc(size_t size, uint32_t msgno, const char* file, int line);

/**
 * Sends `*msg` from mailbox `from` to mailbox `to`, without waiting for it. Takes the message over;
 * where `to` has gone, it is freed.
 */
void __itc_send(union itc_msg** msg, uint32_t to, uint32_t from, const char* file, int line);

/**
 * Waits for a message to the calling thread's mailbox and returns it; the caller owns it.
 *
 * `filter` is null for any message, or counts the numbers that follow it: {2, A, B}.
 * Messages that it does not take keep their order. `from` is a mailbox or ITC_FROM_ALL. `timeout`
 * is in milliseconds. Returns null when the time is over, and at once where the thread has no
 * mailbox. A cancellation point.
 */
union itc_msg* __itc_receive(const uint32_t* filter, uint32_t timeout, uint32_t from,
                             const char* file, int line);

/** The mailbox that sent `msg`; ITC_NO_MBOX_ID for one that nobody has sent. */
uint32_t __itc_sender(union itc_msg* msg, const char* file, int line);

/**
 * Asks for `*msg` to be delivered to the calling thread's mailbox when `mailbox` goes, however its
 * process ends; at once where it has gone. The message's sender is then that mailbox. Takes the
 * message over. Returns a reference to the monitor, 0 where the thread has no mailbox.
 */
uint32_t __itc_monitor(uint32_t mailbox, union itc_msg** msg, const char* file, int line);

/** Frees `*msg` and sets it to null. */
void __itc_free(union itc_msg** msg, const char* file, int line);

#ifdef __cplusplus
}
#endif

#endif
