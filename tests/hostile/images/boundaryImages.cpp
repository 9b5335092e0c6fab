#include "imageParts.h"
#include "images.h"
#include "tests/support/dbBuilder.h"

namespace Varnix::Test {

using namespace ImageParts;
using namespace std::string_literals;

namespace {

constexpr std::size_t room = 24; ///< from the tried record's start to N

/** The good records, and an image around `tried` after them whose N is `room` bytes on. */
std::string behindGoodOnes(const std::string& tried)
{
    const std::string records = goodRecords();
    return imageOf(static_cast<std::uint32_t>(headerSize + records.size() + room), records + tried);
}

/** A key from `start` on whose NUL is at `nul`, as a string of the image's bytes there. */
std::string keyUpTo(std::size_t start, std::size_t nul)
{
    return "F/" + filler(nul - start - 2) + '\0';
}

std::string named(const std::string& what, std::ptrdiff_t distance)
{
    return numbered(what + (distance < 0 ? "Before" : "Behind"),
                    static_cast<std::uint64_t>(distance < 0 ? -distance : distance));
}

/** Everywhere around N and the image's end that a key's NUL can be, and nowhere. */
ImageFamily keyEnds()
{
    ImageFamily family{"KeyEnds", {}};
    for (std::size_t nul = room - 8; nul < room + 12; ++nul)
        family.images.push_back(
            {named("NulAtN", static_cast<std::ptrdiff_t>(nul) - std::ptrdiff_t{room}),
             behindGoodOnes(keyUpTo(0, nul))});
    for (const std::uint16_t sum : {std::uint16_t{0x004B}, std::uint16_t{0x4B00}}) {
        std::string image = behindGoodOnes("F/" + filler(40));
        forceChecksum(image, sum);
        family.images.push_back({sum < 0x100 ? "NulFirstOfChecksum" : "NulLastOfChecksum", image});
    }
    std::string image = behindGoodOnes("F/" + filler(40));
    makeChecksumWithoutZero(image);
    family.images.push_back({"NulNowhere", image});
    image = imageOf(40, "F/" + filler(60));
    makeChecksumWithoutZero(image);
    family.images.push_back({"NulNowhereFromTheFirstRecordOn", image});
    image = imageOf(40, filler(60));
    makeChecksumWithoutZero(image);
    family.images.push_back({"NulNowhereAndNoTag", image});
    return family;
}

/** A word that ends with the image: its length is the last unchecked byte and the checksum. */
void addLastWords(ImageFamily& family)
{
    std::string image = behindGoodOnes(keyUpTo(0, room + 9));
    family.images.push_back({"WordIsTheLastBytesOfNoType", image});
    image[image.size() - 4] = u8;
    forceChecksum(image, 0);
    family.images.push_back({"WordIsTheLastBytesAndEmpty", image});
    forceChecksum(image, 1);
    family.images.push_back({"WordIsTheLastBytesAndSaysAByte", image});
    image = behindGoodOnes("Fk" + keyUpTo(0, room + 8).substr(1));
    image[image.size() - 4] = u8;
    repairChecksum(image);
    family.images.push_back({"WordIsTheLastBytesOfAForeignKey", image});
}

/** Words of which the image holds one to four bytes, of records of every start before N. */
ImageFamily words()
{
    ImageFamily family{"Words", {}};
    for (std::size_t start = room - 9; start < room; start += 2)
        for (std::size_t missing = 1; missing <= 4; ++missing) {
            // A record that steps over the rest comes first.
            const std::string step = record("/s", u8, filler(start - 8));
            const std::size_t nul = room + 9 + missing;
            std::string image = behindGoodOnes(step + keyUpTo(start, nul));
            if (nul >= room + 12)
                forceChecksum(image, nul == room + 12 ? 0x0041 : 0x4100);
            family.images.push_back(
                {numbered(numbered("RecordAtNMinus", room - start) + "Lacks", missing), image});
        }
    addLastWords(family);
    return family;
}

/** Data of every type and of a record of another tag that ends around N and around the end. */
ImageFamily dataEnds()
{
    ImageFamily family{"DataEnds", {}};
    constexpr std::size_t data = 8; // after the tag, "/b", NUL and word
    const auto add = [&](const std::string& name, std::uint8_t type, std::size_t end, char tag) {
        family.images.push_back(
            {name, behindGoodOnes(opening("/b", type, end - data, tag) + filler(40))});
    };
    for (std::size_t end = room - 2; end <= room + 17; ++end)
        add(named("TextEndsAtN", static_cast<std::ptrdiff_t>(end) - std::ptrdiff_t{room}), text,
            end, 'F');
    for (const std::size_t end : {room + 13, room + 14, room + 15, room + 16})
        add(numbered("OtherTagEndsAtNPlus", end - room), text, end, 'G');
    for (const std::uint8_t type : Bytes{1, 2, 3, 4, 5, 6, 7, 8, 11, 255})
        for (const std::size_t end : {room + 14, room + 15})
            add(numbered(numbered("Type", type) + "EndsAtNPlus", end - room), type, end, 'F');
    for (const std::uint32_t size : {0xFFU, 0x100U, 0xFFFFU, 0x10000U, 0x7FFFFFU, longest})
        add(numbered("Says", size), text, size + data, 'F');
    family.images.push_back(
        {"FirstRecordEndsWithTheImage", imageOf(40, opening("/b", u8, 54 - 18) + filler(60))});
    family.images.push_back(
        {"FirstRecordEndsAByteLater", imageOf(40, opening("/b", u8, 55 - 18) + filler(60))});
    return family;
}

/** The shortest record, beginning with the last byte before N. */
ImageFamily lateStarts()
{
    ImageFamily family{"LateStarts", {}};
    for (std::size_t size = 0; size <= 9; ++size)
        family.images.push_back(
            {numbered("InTheTailOfBytes", size),
             imageOfRecords(goodRecords() + 'F', opening("/", u8, size).substr(1) + filler(12))});
    family.images.push_back(
        {"TagIsAllThatIsBeforeN", imageOfRecords(goodRecords() + 'F', std::string(10, '\0'))});
    family.images.push_back(
        {"RecordStartsAtN",
         imageOfRecords(goodRecords(), opening("/b", u8, longest) + filler(12))});
    family.images.push_back(
        {"EmptyRecordEndsAtN", imageOfRecords(goodRecords() + opening("/b", u8, 0))});
    return family;
}

} // namespace

std::vector<ImageFamily> boundaryFamilies()
{
    return {keyEnds(), words(), dataEnds(), lateStarts()};
}

} // namespace Varnix::Test
