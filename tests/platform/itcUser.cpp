// A library that uses mailboxes and is itself loaded and unloaded.
#include "itc.h"

#include <cstdint>

extern "C" {

__attribute__((visibility("default"))) std::uint32_t openMailbox()
{
    __itc_init(1, 0, nullptr, nullptr, 0, "", 0);
    return __itc_create_mailbox("of a passing library", 0, "", 0);
}

/** Sends itself a message and receives it; returns its number. */
__attribute__((visibility("default"))) std::uint32_t exchange()
{
    itc_msg* message = __itc_alloc(64, 7, "", 0);
    __itc_send(&message, ITC_MY_MBOX_ID, ITC_MY_MBOX_ID, "", 0);
    message = __itc_receive(nullptr, ITC_NO_TMO, ITC_FROM_ALL, "", 0);
    const std::uint32_t number = message->msgno;
    __itc_free(&message, "", 0);
    return number;
}
}
