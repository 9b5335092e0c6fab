/**
 * Patterns against identities: a match is what an independent matcher says, and the files that the
 * entries select are those of every entry that matches, each where it occurs first.
 *
 * The first line holds the identities; every other one an entry: its component_id, its revision and
 * its files, with one blank between them.
 */
#include "patternOracle.h"
#include "selection.h"
#include "target.h"

#include <algorithm>
#include <string>
#include <vector>

namespace {

using namespace Varnix;
using Backend::DBUtils::DbConfiguration;
using Fuzz::require;
using Strings = std::vector<std::string>;

Strings wordsOf(std::string_view line)
{
    Strings words(1);
    for (const char c : line)
        if (c == ' ')
            words.emplace_back();
        else
            words.back().push_back(c);
    return words;
}

DbConfiguration entryOf(std::string_view line)
{
    Strings words = wordsOf(line);
    words.resize(std::max<std::size_t>(words.size(), 2));
    return {words[0], words[1], {words.begin() + 2, words.end()}};
}

/** fnmatch takes C strings. */
std::string_view untilNul(const std::string& text)
{
    return text.c_str();
}

bool checkedMatch(const std::string& pattern, const std::string& identity)
{
    const bool matches = Backend::Selection::matches(pattern, identity);
    const auto expected = Fuzz::patternMatches(untilNul(pattern), untilNul(identity));
    require(!expected || matches == *expected, "a pattern matches what it says");
    return matches;
}

bool matchesOne(const DbConfiguration& entry, const Strings& identities)
{
    bool matches = false;
    for (const std::string& identity : identities)
        matches = checkedMatch(entry.componentId + "_" + entry.revision, identity) || matches;
    return matches;
}

Strings expectedFiles(const std::vector<DbConfiguration>& entries, const Strings& identities)
{
    Strings files;
    for (const DbConfiguration& entry : entries) {
        if (!matchesOne(entry, identities))
            continue;
        for (const std::string& file : entry.filePaths)
            if (std::find(files.begin(), files.end(), file) == files.end())
                files.push_back(file);
    }
    return files;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view text = Fuzz::viewOf(data, size);
    const Strings identities = wordsOf(Fuzz::cutLine(text));
    std::vector<DbConfiguration> entries;
    while (!text.empty())
        entries.push_back(entryOf(Fuzz::cutLine(text)));
    require(Backend::Selection::selectFiles(entries, identities) ==
                expectedFiles(entries, identities),
            "the files of all entries that match, each once and first come first");
    return 0;
}
