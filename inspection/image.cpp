#include "inspection/image.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <elf.h>

namespace Varnix::Inspection {

namespace {

constexpr std::uint64_t largestNotes = 65536; // of one segment; others have far less
constexpr std::size_t mostSegments = 64;
constexpr std::size_t noteAlignment = 4;

std::optional<std::vector<Elf64_Phdr>> segmentsOf(const Memory& memory, Address start)
{
    const auto header = memory.object<Elf64_Ehdr>(start);
    if (!header || std::memcmp(header->e_ident, ELFMAG, SELFMAG) != 0 ||
        header->e_ident[EI_CLASS] != ELFCLASS64 || header->e_phentsize != sizeof(Elf64_Phdr) ||
        header->e_phnum > mostSegments)
        return std::nullopt;
    std::vector<Elf64_Phdr> segments(header->e_phnum);
    const Range range{start + header->e_phoff, segments.size() * sizeof(Elf64_Phdr)};
    if (!memory.read({&range, 1}, {reinterpret_cast<char*>(segments.data()), range.size}))
        return std::nullopt;
    return segments;
}

std::size_t aligned(std::size_t size) noexcept
{
    return (size + noteAlignment - 1) / noteAlignment * noteAlignment;
}

/** What the library's note says, if it is among `notes`, which were read at `address`. */
std::optional<FoundNote> noteIn(std::string_view notes, Address address)
{
    constexpr std::string_view owner(noteOwner, sizeof noteOwner); // its NUL counts
    std::size_t at = 0;
    while (notes.size() - at >= sizeof(Elf64_Nhdr)) {
        Elf64_Nhdr header;
        std::memcpy(&header, notes.data() + at, sizeof header);
        const std::size_t name = at + sizeof header;
        const std::size_t description = name + aligned(header.n_namesz);
        const std::size_t next = description + aligned(header.n_descsz);
        if (next > notes.size())
            return std::nullopt;
        if (header.n_type == noteType && header.n_descsz >= sizeof(Note) &&
            notes.substr(name, header.n_namesz) == owner) {
            Note note;
            std::memcpy(&note, notes.data() + description, sizeof note);
            const Address root = address + description + static_cast<std::uint64_t>(note.toRoot);
            return FoundNote{note.layout, note.layout == layoutNumber ? root : 0};
        }
        at = next;
    }
    return std::nullopt;
}

} // namespace

std::optional<FoundNote> findNote(const Memory& memory, Address start)
{
    const auto segments = segmentsOf(memory, start);
    if (!segments)
        return std::nullopt;
    const auto first =
        std::find_if(segments->begin(), segments->end(), [](const Elf64_Phdr& segment) {
            return segment.p_type == PT_LOAD && segment.p_offset == 0;
        });
    if (first == segments->end())
        return std::nullopt;
    const Address bias = start - first->p_vaddr;
    for (const Elf64_Phdr& segment : *segments) {
        if (segment.p_type != PT_NOTE || segment.p_memsz > largestNotes)
            continue;
        const Address address = bias + segment.p_vaddr;
        const auto notes = memory.bytes({address, segment.p_memsz});
        if (const auto found = notes ? noteIn(*notes, address) : std::nullopt)
            return found;
    }
    return std::nullopt;
}

} // namespace Varnix::Inspection
