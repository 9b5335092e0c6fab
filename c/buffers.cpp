#include "buffers.h"

namespace Varnix::C {

Buffers::Loan::Loan(Buffers& buffers)
{
    for (Slot& slot : buffers.m_slots) {
        if (slot.taken.test_and_set(std::memory_order_acquire))
            continue;
        m_taken = &slot.taken;
        m_buffer = &slot.buffer;
        return;
    }
    m_buffer = &m_own.emplace();
}

Buffers::Loan::~Loan()
{
    if (m_taken != nullptr)
        m_taken->clear(std::memory_order_release);
}

} // namespace Varnix::C
