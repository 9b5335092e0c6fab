#ifndef VARNIX_ITCMESSAGE_H
#define VARNIX_ITCMESSAGE_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include <itc.h>

namespace Varnix::Backend {

/** Gives a message back to the messaging library. */
struct ItcMessageDeleter
{
    void operator()(itc_msg* message) const noexcept { __itc_free(&message, "", 0); }
};

/** A message that this process holds. */
using ItcMessage = std::unique_ptr<itc_msg, ItcMessageDeleter>;

} // namespace Varnix::Backend

#endif
