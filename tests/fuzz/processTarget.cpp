/**
 * The memory of an inspected process: whatever it holds, and however it changes, looking at it ends
 * after few reads with what is really there.
 *
 * The first bytes of an input say which byte changes into what after how many reads, and the rest
 * is the memory at the image's address, with nothing but zeros after it.
 */
#include "inspection/image.h"
#include "inspection/notInspected.h"
#include "inspection/parameterView.h"
#include "inspection/registryView.h"
#include "target.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include <sys/prctl.h>

namespace {

using namespace Varnix;
using Fuzz::require;
using Inspection::Address;

constexpr Address start = 0x10000;
constexpr std::size_t mapped = 1U << 18U;
/** Then the process has ended. */
constexpr unsigned mostReads = 200;
/** Of one counter. What changes all the time would be read for a second otherwise. */
constexpr unsigned mostReadsOfOne = 12;

/** How the memory changes while it is read. */
struct Change
{
    unsigned afterReads;
    std::size_t place;
    char value;
};

class Image final : public Inspection::Memory
{
public:
    Image(std::string_view bytes, Change change) : m_bytes(mapped, '\0'), m_change(change)
    {
        bytes.copy(m_bytes.data(), m_bytes.size());
    }

    bool read(std::span<const Inspection::Range> ranges, std::span<char> bytes) const override
    {
        const bool isCounter = ranges.size() == 1 && ranges[0].size == sizeof(std::uint64_t);
        if (++m_reads > mostReads || (isCounter && ++m_readsOf[ranges[0].start] > mostReadsOfOne))
            throw Inspection::NotInspected(Inspection::NotInspected::Reason::GONE, "it has ended");
        if (m_reads == m_change.afterReads)
            m_bytes[m_change.place % m_bytes.size()] = m_change.value;
        for (const Inspection::Range& range : ranges) {
            require(range.size <= bytes.size(), "a read has room for its ranges");
            if (range.size == 0)
                continue;
            if (range.start < start || range.start - start > m_bytes.size() ||
                range.size > m_bytes.size() - (range.start - start))
                return false;
            std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(range.start - start),
                        range.size, bytes.begin());
            bytes = bytes.subspan(range.size);
        }
        require(bytes.empty(), "a read has no room to spare");
        return true;
    }

    bool holds(const std::string& text) const
    {
        return text.empty() || m_bytes.find(text) != std::string::npos;
    }

    /** Whether all of it still is what it was at first. */
    bool hasChanged() const { return m_reads >= m_change.afterReads && m_change.afterReads > 0; }

private:
    mutable std::string m_bytes;
    Change m_change;
    mutable unsigned m_reads = 0;
    mutable std::map<Address, unsigned> m_readsOf;
};

void requireReal(const Image& image, const std::vector<Inspection::ParameterView>& parameters,
                 const std::vector<std::string>& keys)
{
    for (const Inspection::ParameterView& parameter : parameters) {
        require(keys.empty() || std::find(keys.begin(), keys.end(), parameter.key) != keys.end(),
                "only parameters that were asked for are returned");
        require(image.hasChanged() || (image.holds(parameter.key) && image.holds(parameter.value)),
                "keys and values are the process's own bytes");
    }
}

void look(const Image& image)
{
    const auto note = Inspection::findNote(image, start);
    if (!note)
        return;
    require(note->layout == Inspection::layoutNumber || note->root == 0,
            "of a layout that is not known nothing is followed");
    if (note->root == 0)
        return;
    const auto registry = Inspection::viewRegistry(image, note->root);
    if (!registry)
        return;
    require(!registry->stores.empty(), "a registry has a production store");
    for (const Inspection::StoreView& store : registry->stores) {
        require(image.hasChanged() || image.holds(store.config), "a path is the process's own");
        for (const std::vector<std::string>& keys : {std::vector<std::string>{}, {"/a", "/none"}}) {
            const auto parameters = Inspection::readParameters(image, note->root, store, keys);
            require(!parameters || parameters->size() <= store.parameterCount,
                    "no more parameters are returned than the store has");
            if (parameters)
                requireReal(image, *parameters, keys);
        }
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t head = 4;
    if (size < head)
        return 0;
    // What changes is waited for; the kernel makes short waits several times as long otherwise.
    static const int exact = ::prctl(PR_SET_TIMERSLACK, 1);
    require(exact == 0, "short waits are short");
    const Change change{data[0], data[1] + 256U * data[2], static_cast<char>(data[3])};
    const Image image(Fuzz::viewOf(data + head, size - head), change);
    try {
        look(image);
    } catch (const Inspection::NotInspected&) { // as it ended
    }
    return 0;
}
