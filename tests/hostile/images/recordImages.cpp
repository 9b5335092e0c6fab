#include "imageParts.h"
#include "images.h"
#include "tests/support/dbBuilder.h"

#include <random>

namespace Varnix::Test {

using namespace ImageParts;
using namespace std::string_literals;

namespace {

const std::string identities = "/componentConfigId";
const std::string last = record("/z", u8, "\x2A");

/** The good records, `tried` after them, and a record that shows whether the walk goes on. */
HostileImage within(const std::string& name, const std::string& tried)
{
    return {name, imageOfRecords(goodRecords() + tried + last)};
}

/** What is tried comes before the good records: none of them follows where the walk ends. */
HostileImage before(const std::string& name, const std::string& tried)
{
    return {name, imageOfRecords(tried + goodRecords())};
}

ImageFamily keys()
{
    ImageFamily family{"Keys", {}};
    const auto add = [&](const std::string& name, const std::string& key) {
        family.images.push_back(within(name, record(key, text, "value of the key")));
    };
    add("Empty", "");
    add("OnlyASlash", "/");
    add("TwoSlashes", "//");
    add("NoSlash", "abc");
    add("SlashInTheMiddle", "b/c");
    for (const std::size_t size : Sizes{127, 128, 129, 300})
        add(numbered("NoSlashOfLength", size), filler(size));
    for (const std::size_t size : Sizes{300, 4096, 70000})
        add(numbered("Length", size), "/" + filler(size - 1));
    for (const int byte : {1, 7, 8, 9, 10, 13, 27, 32, 34, 35, 92, 127, 128, 192, 255})
        add(numbered("HoldsByte", static_cast<std::uint64_t>(byte)),
            "/b"s + static_cast<char>(byte) + "c");
    add("TerminalSequence", "/\x1B[2J\x1B]0;title\a");
    add("ConversionsOfPrintf", "/%s%n%100000d");
    add("LineThatLooksLikeAnother", "/b\n/a\t7");
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{60000}})
        family.images.push_back(
            within(numbered("NoSlashSkipsBytes", size), record("abc", u8, filler(size))));
    for (const std::string key : {"", "abc"})
        family.images.push_back(
            within(numbered("NoSlashSaysTooMuchLength", key.size()), opening(key, u8, longest)));
    return family;
}

ImageFamily types()
{
    ImageFamily family{"Types", {}};
    for (const std::uint8_t type : Bytes{0, 1, 8, 9, 11, 12, 70, 127, 128, 255})
        for (const std::size_t size : Sizes{0, 5})
            family.images.push_back(within(numbered(numbered("Type", type) + "OfBytes", size),
                                           record("/b", type, filler(size))));
    for (const std::uint8_t type : Bytes{4, 5, 6, 7})
        for (const std::size_t size : Sizes{1, 2, 3, 5, 7})
            family.images.push_back(within(numbered(numbered("HalfElementsOfType", type), size),
                                           record("/b", type, filler(size))));
    family.images.push_back(within("UndefinedSaysTooMuch", opening("/b", undefined, longest)));
    family.images.push_back(within("TextOfControlBytes", record("/b", text, "\x1B[2J\n\0\xFF"s)));
    family.images.push_back(within("TextOfBlanks", record("/b", text, "  \t  ")));
    family.images.push_back(within("TextOf75000Bytes", record("/b", text, filler(75000))));
    return family;
}

ImageFamily tags()
{
    ImageFamily family{"Tags", {}};
    for (const char tag : {'\0', 'E', 'G', 'f', '\xC6', '\xFF'}) {
        const std::string shown = numbered("", static_cast<unsigned char>(tag));
        family.images.push_back(before("First" + shown, record("/b", u8, "\7", tag)));
        family.images.push_back(within("Middle" + shown, record("/b", u8, "\7", tag)));
        family.images.push_back(
            {"Last" + shown, imageOfRecords(goodRecords() + record("/b", u8, "\7", tag))});
    }
    family.images.push_back(within("WhatFollowsReachesOutside",
                                   record("/b", u8, "\7", 'G') + opening("/c", u8, longest)));
    family.images.push_back(
        within("TwoForeignOnes", record("/b", u8, "\7", 'G') + record("/c", u8, "\7", 'H')));
    family.images.push_back(within("ForeignOneSkipped", record("abc", u8, "\7", 'G')));
    return family;
}

ImageFamily duplicates()
{
    ImageFamily family{"Duplicates", {}};
    const auto add = [&](const std::string& name, const std::string& records) {
        family.images.push_back(within(name, records));
    };
    const std::string value = record("/b", u8, "\1\2\3");
    const std::string other = record("/b", text, "another");
    const std::string empty = record("/b", u8, "");
    add("Equal", value + value);
    add("OfAnotherType", value + other);
    add("OfAnotherTypeAndBack", value + other + record("/b", u8, "\4"));
    add("EmptyAfterAValue", value + empty);
    add("EmptyOfAnotherTypeAfterAValue", value + record("/b", text, ""));
    add("ValueAfterEmpty", empty + other);
    add("EmptyAlone", empty);
    add("EmptyTwice", empty + empty);
    add("EmptyAfterAValueAndValueAgain", value + empty + other);
    add("UndefinedAfterAValue", value + record("/b", undefined, "xyz"));
    add("UnnamedAfterAValue", value + record("/b", 9, "xyz"));
    add("OneThatReachesOutside", value + opening("/b", u8, longest));
    add("AHundredTimes", [&] {
        std::string records;
        for (char i = 0; i < 100; ++i)
            records += record("/b", u8, std::string(1, i));
        return records;
    }());
    return family;
}

/** What a production database says of the node. */
ImageFamily identityFamily()
{
    ImageFamily family{"Identities", {}};
    const auto add = [&](const std::string& name, const std::string& records) {
        family.images.push_back({name, imageOfRecords(records + last)});
    };
    add("None", record("/a", u8, "\1"));
    add("Emptied", goodRecords() + record(identities, text, ""));
    add("NeverAByte", record(identities, text, ""));
    add("Numbers", record(identities, u8, "a_1"));
    add("NumbersAfterText", goodRecords() + record(identities, u32, "a_1."));
    add("UnnamedType", record(identities, 9, "a_1"));
    add("Blanks", record(identities, text, "     "));
    add("OfAnotherNode", record(identities, text, "b_1 c_2"));
    add("WithControlBytes", record(identities, text, "\x1B[2J \0 a_1\0 \xFF\n"s));
    add("TwentyThousand", record(identities, text, [] {
            std::string words;
            for (int i = 0; i < 20000; ++i)
                words += "x ";
            return words + "a_1";
        }()));
    return family;
}

/** Images whose records are odd as a whole. */
ImageFamily walks()
{
    ImageFamily family{"Walks", {}};
    std::string many;
    for (int i = 0; i < 20000; ++i)
        many += record("", u8, "");
    family.images.push_back(within("TwentyThousandRecordsOfSixBytes", many));
    family.images.push_back(within("AnImageInAValue", record("/b", text, goodImage())));
    family.images.push_back(within("AllTags", std::string(200, 'F')));
    family.images.push_back(within("AllZeros", std::string(200, '\0')));
    family.images.push_back(within("AllOnes", std::string(200, '\xFF')));
    for (std::size_t shift = 1; shift <= 8; ++shift)
        family.images.push_back(
            within(numbered("SaysLessBy", shift), opening("/b", text, 20 - shift) + filler(20)));
    for (std::size_t shift = 1; shift <= 8; ++shift)
        family.images.push_back(
            within(numbered("SaysMoreBy", shift), opening("/b", text, 20 + shift) + filler(20)));
    return family;
}

/** Bytes of an image with records of all types, changed at random, under a right checksum. */
ImageFamily randomBytes()
{
    std::string records = goodRecords();
    for (std::uint8_t type = 2; type <= 10; ++type)
        records += record("/type" + std::to_string(type), type, filler(8));
    const std::string image = imageOfRecords(records);
    ImageFamily family{"RandomBytes", {}};
    for (unsigned seed = 1; seed <= 60; ++seed) {
        std::mt19937 random(seed);
        std::string changed = image;
        for (unsigned i = 0; i < 1 + seed % 4; ++i)
            changed[headerSize + random() % (image.size() - headerSize)] =
                static_cast<char>(random());
        repairChecksum(changed);
        family.images.push_back({numbered("Seed", seed), changed});
    }
    return family;
}

} // namespace

std::vector<ImageFamily> recordFamilies()
{
    return {keys(), types(), tags(), duplicates(), identityFamily(), walks(), randomBytes()};
}

const std::vector<ImageFamily>& hostileImages()
{
    static const std::vector<ImageFamily> all = [] {
        std::vector<ImageFamily> families;
        for (const auto& some : {fileFamilies(), boundaryFamilies(), recordFamilies()})
            families.insert(families.end(), some.begin(), some.end());
        return families;
    }();
    return all;
}

std::ostream& operator<<(std::ostream& stream, const ImageFamily& family)
{
    return stream << family.name;
}

} // namespace Varnix::Test
