#include "inspection/image.h"

#include "tests/inspection/laidOutMemory.h"

#include <cstring>
#include <string>
#include <vector>

#include <elf.h>
#include <gtest/gtest.h>

namespace Varnix::Test {

namespace {

using namespace Inspection;

constexpr Address loadedAt = 0x400000; // what the image was linked for

/** An ELF image of one page whose notes stand at its end. */
class LaidOutImage
{
public:
    LaidOutImage()
    {
        std::memcpy(header.e_ident, ELFMAG, SELFMAG);
        header.e_ident[EI_CLASS] = ELFCLASS64;
        header.e_phoff = sizeof header;
        header.e_phentsize = sizeof(Elf64_Phdr);
        header.e_phnum = 2;
        load.p_type = PT_LOAD;
        load.p_vaddr = loadedAt;
        note.p_type = PT_NOTE;
        note.p_vaddr = loadedAt + sizeof header + 2 * sizeof(Elf64_Phdr);
    }

    void addNote(const std::string& owner, std::uint32_t type, const std::string& description)
    {
        const Elf64_Nhdr part{static_cast<Elf64_Word>(owner.size()),
                              static_cast<Elf64_Word>(description.size()), type};
        notes.append(reinterpret_cast<const char*>(&part), sizeof part);
        notes.append(owner).append((4 - owner.size() % 4) % 4, '\0');
        notes.append(description).append((4 - description.size() % 4) % 4, '\0');
        note.p_memsz = notes.size();
    }

    std::string bytes() const
    {
        std::string all;
        append(all, header);
        append(all, load);
        append(all, note);
        return all + notes;
    }

    /** Where the notes begin in the image. */
    static constexpr std::size_t notesAt = sizeof(Elf64_Ehdr) + 2 * sizeof(Elf64_Phdr);

    Elf64_Ehdr header{};
    Elf64_Phdr load{};
    Elf64_Phdr note{};
    std::string notes;

private:
    template <typename T>
    static void append(std::string& all, const T& object)
    {
        all.append(reinterpret_cast<const char*>(&object), sizeof object);
    }
};

std::string description(std::uint32_t layout, std::int64_t toRoot)
{
    const Note note{layout, 0, toRoot};
    return {reinterpret_cast<const char*>(&note), sizeof note};
}

const std::string owner("Varnix", 7);

TEST(Image, LeadsFromItsNoteToTheRoot)
{
    LaidOutImage image;
    image.addNote(std::string("GNU", 4), 3, "build id");
    image.addNote(owner, noteType, description(layoutNumber, 0x2000));
    LaidOutMemory memory;
    const Address start = memory.put(image.bytes());
    const auto found = findNote(memory, start);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->layout, layoutNumber);
    const std::size_t before = 12 + 4 + 8 + 12 + 8; // the first note, then this one's header
    EXPECT_EQ(found->root, start + LaidOutImage::notesAt + before + 0x2000);
}

TEST(Image, OfAnotherLayoutHasARootThatNobodyKnows)
{
    LaidOutImage image;
    image.addNote(owner, noteType, description(layoutNumber + 1, 0x2000));
    LaidOutMemory memory;
    const auto found = findNote(memory, memory.put(image.bytes()));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->layout, layoutNumber + 1);
    EXPECT_EQ(found->root, 0U);
}

TEST(Image, OfAnotherOwnerTypeOrSizeHasNoNote)
{
    for (const auto& [name, type, text] :
         {std::tuple(std::string("varnix", 7), noteType, description(layoutNumber, 1)),
          std::tuple(std::string("Varnix"), noteType, description(layoutNumber, 1)),
          std::tuple(owner, noteType + 1, description(layoutNumber, 1)),
          std::tuple(owner, noteType, description(layoutNumber, 1).substr(1))}) {
        LaidOutImage image;
        image.addNote(name, type, text);
        LaidOutMemory memory;
        EXPECT_FALSE(findNote(memory, memory.put(image.bytes())));
    }
}

TEST(Image, OfAnyOtherBytesHasNoNote)
{
    LaidOutImage image;
    image.addNote(owner, noteType, description(layoutNumber, 0x2000));
    const std::string whole = image.bytes();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        LaidOutMemory memory;
        EXPECT_FALSE(findNote(memory, memory.put(whole.substr(0, size)))) << size;
    }
}

TEST(Image, WithAnyByteChangedIsReadWithinItsBytes)
{
    LaidOutImage image;
    image.addNote(owner, noteType, description(layoutNumber, 0x2000));
    const std::string whole = image.bytes();
    int found = 0;
    for (std::size_t at = 0; at < whole.size(); ++at)
        for (const char value : {'\x00', '\x7F', '\xFF'}) {
            std::string changed = whole;
            changed[at] = value;
            LaidOutMemory memory;
            found += findNote(memory, memory.put(changed)).has_value() ? 1 : 0;
        }
    // Most bytes of the headers do not matter; the magic, the owner and the type do.
    EXPECT_GT(found, 0);
    EXPECT_LT(found, static_cast<int>(3 * whole.size()));
}

} // namespace

} // namespace Varnix::Test
