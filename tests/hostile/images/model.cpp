#include "model.h"

#include <algorithm>
#include <set>

namespace Varnix::Test::ImageModel {

namespace {

std::uint64_t number(std::string_view bytes)
{
    std::uint64_t value = 0;
    for (const char byte : bytes)
        value = value << 8U | static_cast<unsigned char>(byte);
    return value;
}

bool isPlain(std::string_view key)
{
    return key.size() > 1 && key.front() == '/' && std::all_of(key.begin(), key.end(), [](char c) {
               return c > ' ' && c <= '~' && c != '"' && c != '#';
           });
}

void store(Values& values, const std::string& key, std::uint8_t type, std::string_view data)
{
    Value& value = values[key];
    value.data = data;
    if (!data.empty())
        value.type = type;
}

/** Walks the records of an image, which is all that the header counts and no byte more. */
void walk(std::string_view image, std::size_t length, Verdict& verdict)
{
    std::set<std::string> seen;
    for (std::size_t position = 10; position < length;) {
        const std::size_t nul = image.find('\0', position + 1);
        if (nul == std::string_view::npos || image.size() - nul < 5) {
            verdict.isAccepted = false;
            return;
        }
        const std::string key(image.substr(position + 1, nul - position - 1));
        const auto type = static_cast<std::uint8_t>(image[nul + 1]);
        const std::size_t size = number(image.substr(nul + 2, 3));
        const std::size_t end = nul + 5 + size;
        const bool isNew = seen.insert(key).second;
        if (isNew)
            verdict.keys.push_back(key);
        if (key.starts_with('/') && type != 0) {
            if (end > image.size()) {
                verdict.isAccepted = false;
                return;
            }
            store(verdict.values, key, type, image.substr(nul + 5, size));
        }
        const std::size_t element = elementSize(type);
        const bool isTagged = image[position] == 'F';
        if (!isNew || !isTagged || !isPlain(key) || end > length || element == 0 ||
            size % element != 0)
            verdict.isClean = false;
        position = isTagged ? end : length;
    }
}

} // namespace

Verdict judge(std::string_view file)
{
    Verdict verdict;
    if (file.size() < 10 || !file.starts_with("H\4"))
        return verdict;
    const std::size_t length = number(file.substr(6, 4));
    verdict.isAwaited = file.size() < length + 14;
    if (verdict.isAwaited ||
        number(file.substr(length + 12, 2)) != checksum(file.substr(0, length + 10)))
        return verdict;
    verdict.isLoaded = verdict.isAccepted = true;
    verdict.isClean = length >= 10 && file.size() == length + 14;
    walk(file.substr(0, length + 14), length, verdict);
    verdict.isClean &= verdict.isAccepted;
    if (!verdict.isAccepted)
        verdict.values.clear();
    return verdict;
}

std::uint16_t crc(std::string_view bytes)
{
    unsigned sum = 0xFFFF;
    for (const char byte : bytes) {
        sum ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit)
            sum = sum >> 1U ^ ((sum & 1U) != 0 ? 0x8408U : 0U);
    }
    return static_cast<std::uint16_t>(~sum);
}

std::uint16_t checksum(std::string_view bytes)
{
    const std::uint16_t sum = crc(bytes);
    return sum == 0xFFFF ? 0x1111 : sum;
}

std::vector<std::string> words(std::string_view text)
{
    std::vector<std::string> result(1);
    for (const char c : text)
        if (c != ' ')
            result.back() += c;
        else if (!result.back().empty())
            result.emplace_back();
    if (result.back().empty())
        result.pop_back();
    return result;
}

std::size_t elementSize(std::uint8_t type)
{
    switch (type) {
    case 2:
    case 3:
    case 10:
        return 1;
    case 4:
    case 5:
        return 2;
    case 6:
    case 7:
        return 4;
    default:
        return 0;
    }
}

std::vector<std::int64_t> elements(const Value& value)
{
    const std::size_t size = elementSize(value.type);
    const bool isSigned = value.type % 2 == 1;
    std::vector<std::int64_t> result;
    for (std::size_t i = 0; i < value.data.size() / size; ++i) {
        auto element =
            static_cast<std::int64_t>(number(std::string_view(value.data).substr(i * size, size)));
        const std::int64_t range = std::int64_t{1} << (8 * size);
        if (isSigned && element >= range / 2)
            element -= range;
        result.push_back(element);
    }
    return result;
}

} // namespace Varnix::Test::ImageModel
