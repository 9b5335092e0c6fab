#include "explainFindings.h"

#include "dbfile/decoder.h"
#include "dbfile/directory.h"
#include "dbfile/shown.h"
#include "dbfile/types.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

namespace Varnix::Tool {

namespace {

namespace fs = std::filesystem;
using Findings = std::vector<NodeFinding>;

std::string entryText(std::size_t index)
{
    return "entry " + std::to_string(index);
}

std::string typeText(std::uint8_t number)
{
    if (number == DbFile::undefinedType)
        return "an empty value without a type";
    const DbFile::Type* const type = DbFile::findType(number);
    return type == nullptr ? "type " + std::to_string(number) : std::string(type->name);
}

void findInEntries(const Explanation& explanation, Findings& findings)
{
    const std::vector<ExplainedEntry>& entries = explanation.entries;
    for (std::size_t i = 0; i < entries.size(); ++i)
        if (entries[i].matches.empty())
            findings.push_back({Severity::NOTE, explanation.config, entries[i].line,
                                entryText(i) + ": " + DbFile::shown(entries[i].pattern) +
                                    " matches none of the identities"});
    if (std::none_of(explanation.files.begin(), explanation.files.end(),
                     [](const ExplainedFile& file) { return file.selected; }))
        findings.push_back({Severity::WARNING, explanation.config, 0,
                            "no file is selected: a client finds only what the production "
                            "database holds"});
}

void findInFile(const Explanation& explanation, const ExplainedFile& file, Findings& findings)
{
    const std::size_t entry = file.listings.front().entry;
    const int line = explanation.entries[entry].line;
    if (!file.selected)
        findings.push_back({Severity::NOTE, explanation.config, line,
                            "no entry that matches lists " + DbFile::shown(file.path)});
    if (file.problem)
        findings.push_back(
            {file.selected ? Severity::ERROR : Severity::WARNING, explanation.config, line,
             entryText(entry) + " lists a file that cannot be used: " + *file.problem});
    if (file.defects > 0)
        findings.push_back({Severity::WARNING, file.path, 0,
                            "the file holds what it must not; varnix check names it"});
}

/** Whether a file begins as a database file does; other files in a directory are not our business.
 */
bool looksLikeDatabase(const fs::path& path)
{
    std::array<char, DbFile::Format::headerSize> header{};
    std::ifstream file(path, std::ios::binary);
    return file.read(header.data(), header.size()) &&
           DbFile::isThisFormat({header.data(), header.size()});
}

fs::path resolved(const fs::path& path)
{
    std::error_code error;
    return fs::weakly_canonical(path, error);
}

/** Database files that stand beside the listed ones and that nothing lists. */
void findUnlisted(const Explanation& explanation, Findings& findings)
{
    std::set<fs::path> known;
    std::set<fs::path> directories;
    for (const ExplainedFile& file : explanation.files) {
        known.insert(resolved(file.path));
        directories.insert(fs::path(file.path).parent_path());
    }
    if (explanation.production)
        known.insert(resolved(explanation.production->path));
    std::set<fs::path> unlisted;
    for (const fs::path& directory : directories) {
        std::error_code error;
        for (const std::string& name : DbFile::namesIn(directory)) {
            const fs::path path = directory / name;
            if (fs::is_regular_file(path, error) && known.insert(resolved(path)).second &&
                looksLikeDatabase(path))
                unlisted.insert(path);
        }
    }
    for (const fs::path& path : unlisted)
        findings.push_back({Severity::NOTE, path.string(), 0, "no entry lists this database file"});
}

void findHidden(const Explanation& explanation, Findings& findings)
{
    for (const auto& [key, hidden] : explanation.componentStore.values()) {
        const StoredValue* const hiding = explanation.productionStore.find(key);
        if (hiding == nullptr || hiding->value.type == hidden.value.type)
            continue;
        const std::string type = typeText(hidden.value.type);
        std::string text = DbFile::shown(key);
        text.append(": ").append(typeText(hiding->value.type)).append(" here hides ");
        text.append(type).append(" in ").append(DbFile::shown(explanation.files[hidden.file].path));
        text.append(": a client that reads ").append(type).append(" gets a type mismatch");
        findings.push_back({Severity::WARNING, explanation.production->path, 0, std::move(text)});
    }
}

void findDiffering(const Explanation& explanation, const std::vector<std::string>& keys,
                   Findings& findings)
{
    for (const std::string& key : keys)
        if (explanation.differs(key))
            findings.push_back({Severity::WARNING, explanation.config, 0,
                                DbFile::shown(key) + ": process " +
                                    std::to_string(explanation.held->process) +
                                    " does not hold what the files say"});
}

} // namespace

const char* nameOf(Severity severity) noexcept
{
    switch (severity) {
    case Severity::NOTE:
        return "note";
    case Severity::WARNING:
        return "warning";
    default:
        return "error";
    }
}

std::vector<NodeFinding> findingsIn(const Explanation& explanation,
                                    const std::vector<std::string>& keys)
{
    Findings findings;
    findInEntries(explanation, findings);
    for (const ExplainedFile& file : explanation.files)
        findInFile(explanation, file, findings);
    findUnlisted(explanation, findings);
    findHidden(explanation, findings);
    findDiffering(explanation, keys, findings);
    return findings;
}

} // namespace Varnix::Tool
