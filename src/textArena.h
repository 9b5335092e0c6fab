#ifndef VARNIX_TEXTARENA_H
#define VARNIX_TEXTARENA_H

#include "pages.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace Varnix::Backend {

/** Texts that stay where they are until all of them go. */
class TextArena
{
public:
    /** The text in memory of the arena's own. */
    const char* copyOf(std::string_view text)
    {
        if (text.size() >= m_free.size())
            addChunk(std::max(text.size(), m_lastSize) * 2 + 1);
        char* const copy = m_free.data();
        std::copy(text.begin(), text.end(), copy);
        m_free = m_free.subspan(text.size());
        return copy;
    }

    /** Makes room for texts of that size in all, all of which is going to be used. */
    void reserve(std::size_t size)
    {
        addChunk(size + 1);
        populatePages(m_free.data(), size);
    }

private:
    void addChunk(std::size_t size)
    {
        m_chunks.push_back(std::make_unique_for_overwrite<char[]>(size));
        m_free = {m_chunks.back().get(), size};
        m_lastSize = size;
    }

    std::vector<std::unique_ptr<char[]>> m_chunks;
    std::size_t m_lastSize = 512;
    std::span<char> m_free; ///< of the last chunk
};

} // namespace Varnix::Backend

#endif
