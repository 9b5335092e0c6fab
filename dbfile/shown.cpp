#include "dbfile/shown.h"

#include "dbfile/finding.h"

#include <algorithm>
#include <cstddef>

namespace Varnix::DbFile {

namespace {

/** How many bytes follow the first one of a character; 4: none begins with it. */
std::size_t followersOf(unsigned char first) noexcept
{
    if (first < 0x7F)
        return 0;
    if (first < 0xC2)
        return 4;
    if (first < 0xE0)
        return 1;
    if (first < 0xF0)
        return 2;
    return first < 0xF5 ? 3 : 4;
}

/** The lowest and highest second byte: neither overlong, nor a surrogate, nor C1, nor too large. */
bool isSecond(unsigned char first, unsigned char second) noexcept
{
    const unsigned low = first == 0xC2 || first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    const unsigned high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    return second >= low && second <= high;
}

/** Whether a character of three bytes begins a line or turns the direction of what follows. */
bool movesText(unsigned char first, unsigned char second, unsigned char third) noexcept
{
    return first == 0xE2 && ((second == 0x80 && third >= 0xA8 && third <= 0xAE) ||
                             (second == 0x81 && third >= 0xA6 && third <= 0xA9));
}

/** The size of the character that the bytes start with; 0: a terminal does not show it. */
std::size_t characterSize(std::string_view bytes) noexcept
{
    const auto at = [bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const std::size_t followers = followersOf(at(0));
    if (followers == 0)
        return at(0) >= 0x20 ? 1 : 0;
    if (followers == 4 || bytes.size() <= followers || !isSecond(at(0), at(1)))
        return 0;
    for (std::size_t i = 2; i <= followers; ++i)
        if (at(i) < 0x80 || at(i) > 0xBF)
            return 0;
    if (followers == 2 && movesText(at(0), at(1), at(2)))
        return 0;
    return followers + 1;
}

} // namespace

bool isShowable(std::string_view bytes) noexcept
{
    while (!bytes.empty()) {
        const std::size_t size = characterSize(bytes);
        if (size == 0)
            return false;
        bytes.remove_prefix(size);
    }
    return true;
}

std::string shown(std::string_view bytes)
{
    std::string text;
    while (!bytes.empty()) {
        const std::size_t size = bytes.front() == '\\' ? 0 : characterSize(bytes);
        if (size > 0)
            text.append(bytes.substr(0, size));
        else if (bytes.front() == '\n')
            text.append("\\n");
        else if (bytes.front() == '\t')
            text.append("\\t");
        else if (bytes.front() == '\\')
            text.append("\\\\");
        else
            text.append("\\x").append(hexBytes(bytes.substr(0, 1)));
        bytes.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return text;
}

} // namespace Varnix::DbFile
