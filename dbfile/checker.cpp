#include "dbfile/checker.h"

#include "dbfile/database.h"
#include "dbfile/decoder.h"
#include "dbfile/sourceLine.h"
#include "dbfile/types.h"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <utility>

namespace Varnix::DbFile {

namespace {

void sort(std::vector<Finding>& findings)
{
    std::stable_sort(findings.begin(), findings.end(),
                     [](const Finding& a, const Finding& b) { return a.offset < b.offset; });
}

class RecordChecker
{
public:
    /**
     * Records belong before `end`, the header's length. Of a file that ends before it should, whose
     * missing end has been reported, they are checked as far as they are whole.
     */
    RecordChecker(std::string_view image, std::uint64_t end, std::vector<Finding>& findings)
        : m_image(image), m_end(end), m_isWhole(image.size() >= end + Format::trailerSize),
          m_findings(findings), m_refusals(static_cast<std::ptrdiff_t>(findings.size()))
    {
    }

    void run()
    {
        std::size_t position = Format::headerSize;
        while (position < std::min<std::uint64_t>(m_end, m_image.size())) {
            if (m_image[position] != Format::recordTag && !isFirstForeignTag(position))
                return;
            const auto place = recordAt(m_image, position, m_end);
            if (!place) {
                reportUnfinished(position, "a record's key, type and length do not end");
                return;
            }
            checkRecord(*place);
            if (place->end() > m_end)
                reportUnfinished(position, "a record of " + std::to_string(place->size()) +
                                               " bytes does not end");
            position = place->end();
        }
    }

    /** In the order of the file. */
    std::vector<Finding> keysWithoutValue() const
    {
        std::vector<Finding> result;
        for (const auto& [key, use] : m_keys)
            if (use.isParameter && !use.hasValue)
                result.push_back({use.offset, noValue(key)});
        sort(result);
        return result;
    }

private:
    struct KeyUse
    {
        std::size_t offset;
        bool isParameter = false;
        bool hasValue = false;
    };

    void report(std::uint64_t offset, std::string text)
    {
        m_findings.push_back({offset, std::move(text)});
    }

    /** The bytes after one foreign tag may still be records; after two they are anything. */
    bool isFirstForeignTag(std::size_t position)
    {
        if (!m_isWhole)
            return false;
        report(position, "the record's tag is " +
                             hexNumber(static_cast<unsigned char>(m_image[position])) + ", not " +
                             hexNumber(static_cast<unsigned char>(Format::recordTag)) +
                             ": nothing after it is read");
        return !std::exchange(m_foreignTag, true);
    }

    bool isRefused(std::size_t position) const
    {
        return std::any_of(m_findings.begin(), m_findings.begin() + m_refusals,
                           [=](const Finding& finding) { return finding.offset == position; });
    }

    void reportUnfinished(std::size_t position, const std::string& what)
    {
        if (m_isWhole && !isRefused(position))
            report(position, what + " before " + hexNumber(m_end) + ", where the records end");
    }

    void checkRecord(const RecordPlace& place)
    {
        KeyUse& use = checkKey(place);
        const Type* const type = findType(place.type);
        use.isParameter |= type != nullptr && m_image[place.start + 1] == '/';
        use.hasValue |= place.dataSize > 0;
        if (type == nullptr)
            report(place.typeOffset(), "type " + std::to_string(place.type) + " has no name");
        else if (!isWhole(*type, place.dataSize))
            report(place.lengthOffset(), std::to_string(place.dataSize) +
                                             " bytes are no whole number of " +
                                             std::string(type->name) + " elements");
    }

    KeyUse& checkKey(const RecordPlace& place)
    {
        const std::size_t offset = place.start + 1;
        const std::string_view key = m_image.substr(offset, place.keySize);
        if (!key.starts_with('/'))
            report(offset, "the key " + quoted(key) + " does not begin with \"/\"");
        else if (key.size() == 1)
            report(offset, "the key is only \"/\"");
        else if (!isPlainKey(key))
            report(offset, "the key " + quoted(key) +
                               " holds a blank, a quote, a number sign or an unprintable byte");
        const auto [first, isNew] = m_keys.try_emplace(key, KeyUse{.offset = offset});
        if (!isNew)
            report(offset, "the key " + quoted(key) + " occurs twice; first at @" +
                               hexNumber(first->second.offset));
        return first->second;
    }

    std::string_view m_image;
    std::uint64_t m_end;
    bool m_isWhole;
    std::vector<Finding>& m_findings;
    std::ptrdiff_t m_refusals; ///< how many of them a loader refuses the file for
    std::unordered_map<std::string_view, KeyUse> m_keys;
    bool m_foreignTag = false;
};

void checkLengths(std::string_view image, std::vector<Finding>& findings)
{
    const std::uint64_t length = lengthField(image);
    const std::uint64_t size = length + Format::trailerSize;
    if (length < Format::headerSize)
        findings.push_back({Format::lengthOffset, "the length " + std::to_string(length) +
                                                      " is less than the header takes"});
    if (length > Format::maxSoftwareLength && length <= Format::maxLength)
        findings.push_back(
            {Format::lengthOffset, "the length " + std::to_string(length) +
                                       " is more than the loader of software databases can take"});
    if (image.size() > size)
        findings.push_back(
            {size, std::to_string(image.size() - size) + " bytes follow the checksum"});
}

void note(std::vector<Finding>& notes, std::string_view image, std::uint64_t offset,
          std::size_t size, std::string_view what)
{
    const std::string_view bytes =
        image.substr(std::min<std::uint64_t>(offset, image.size()), size);
    if (bytes.find_first_not_of('\0') != std::string_view::npos)
        notes.push_back({offset, std::string(what) + " are not zero: " + hexBytes(bytes)});
}

} // namespace

CheckResult check(std::string_view image)
{
    CheckResult result{.findings = refusals(image), .warnings = {}, .notes = {}};
    if (!isThisFormat(image))
        return result;
    const std::uint64_t length = lengthField(image);
    checkLengths(image, result.findings);
    RecordChecker records(image, length, result.findings);
    records.run();
    sort(result.findings);
    result.warnings = records.keysWithoutValue();

    note(result.notes, image, Format::reservedOffset, Format::reservedSize, "the reserved bytes");
    if (length >= Format::headerSize)
        note(result.notes, image, length, Format::coveredTailSize, "the bytes after the records");
    note(result.notes, image, length + Format::coveredTailSize, Format::uncheckedSize,
         "the bytes before the checksum");
    return result;
}

} // namespace Varnix::DbFile
