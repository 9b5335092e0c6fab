#ifndef VARNIX_KIT_DETAIL_THREADBUFFER_H
#define VARNIX_KIT_DETAIL_THREADBUFFER_H

#include <vector>

namespace Varnix::Kit::Detail {

/** One vector for each thread, so that reads of single integers do not allocate. */
template <typename T>
class ThreadBuffer
{
public:
    /** The calling thread's; null where the thread is ending and has destroyed it already. */
    static std::vector<T>* get() noexcept
    {
        if (m_current == nullptr && !m_gone)
            make();
        return m_current;
    }

private:
    struct Owner
    {
        ~Owner()
        {
            m_current = nullptr;
            m_gone = true;
        }
        std::vector<T> values;
    };

    static void make() noexcept
    {
        thread_local Owner owner;
        m_current = &owner.values;
    }

    inline static thread_local std::vector<T>* m_current = nullptr;
    inline static thread_local bool m_gone = false;
};

} // namespace Varnix::Kit::Detail

#endif
