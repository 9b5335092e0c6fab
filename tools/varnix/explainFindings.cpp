#include "explainFindings.h"

#include "databaseFile.h"
#include "dbfile/directory.h"
#include "dbfile/shown.h"
#include "dbfile/types.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include <sys/stat.h>

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
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const auto note = [&findings, &place = entries[i].place, i](const std::string& text) {
            findings.push_back({Severity::NOTE, place.file, place.line, entryText(i) + text});
        };
        if (entries[i].matches.empty())
            note(": " + DbFile::shown(entries[i].pattern) + " matches none of the identities");
        if (entries[i].configuration.filePaths.empty())
            note(" lists no file; a path counts only in a list: file_paths = [ \"unit.db\" ]");
    }
    if (std::none_of(explanation.files.begin(), explanation.files.end(),
                     [](const ExplainedFile& file) { return file.selected; }))
        findings.push_back({Severity::WARNING, explanation.config, 0,
                            "no file is selected: a client finds only what the production "
                            "database holds"});
}

/** That there are some, or each. */
void findDefects(const std::string& path, const FileContent& content, const FindingScope& scope,
                 Findings& findings)
{
    if (scope.defects)
        for (const DbFile::Finding& defect : content.defects)
            findings.push_back(findingIn(path, defect, Severity::ERROR));
    else if (content.refusals.empty() && !content.defects.empty())
        findings.push_back(
            {Severity::WARNING, path, 0, "the file holds what it must not; varnix check names it"});
}

void findInFile(const Explanation& explanation, const ExplainedFile& file,
                const FindingScope& scope, Findings& findings)
{
    const std::size_t entry = file.listings.front().entry;
    const auto& [config, line] = explanation.entries[entry].place;
    if (!file.selected)
        findings.push_back({Severity::NOTE, config, line,
                            "no entry that matches lists " + DbFile::shown(file.path)});
    if (file.problem)
        findings.push_back(
            {file.selected ? Severity::ERROR : Severity::WARNING, config, line,
             entryText(entry) + " lists a file that cannot be used: " +
                 (scope.defects && file.content ? DbFile::shown(file.path) : *file.problem)});
    if (file.content)
        findDefects(file.path, *file.content, scope, findings);
}

/**
 * Which file it is, whatever its path; nothing where it is no regular file. A path cannot tell:
 * that of a process's working directory may have no name here.
 */
std::optional<std::pair<dev_t, ino_t>> identityOf(const fs::path& path)
{
    struct stat facts
    {
    };
    if (::stat(path.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode))
        return std::nullopt;
    return std::pair(facts.st_dev, facts.st_ino);
}

/** Database files beside the listed ones that nothing lists. */
void findUnlisted(const Explanation& explanation, const NodePlace& place, Findings& findings)
{
    std::set<std::optional<std::pair<dev_t, ino_t>>> known{std::nullopt};
    std::set<fs::path> directories;
    for (const ExplainedFile& file : explanation.files) {
        known.insert(identityOf(place.locate(file.path)));
        directories.insert(fs::path(file.path).parent_path());
    }
    if (explanation.production)
        known.insert(identityOf(explanation.production->file.place));
    std::set<fs::path> unlisted;
    for (const fs::path& directory : directories) {
        const fs::path located = place.locate(directory.empty() ? "." : directory.string());
        for (const std::string& name : DbFile::namesIn(located)) {
            const fs::path path = located / name;
            if (known.insert(identityOf(path)).second && looksLikeDatabase(path))
                unlisted.insert(directory / name);
        }
    }
    for (const fs::path& path : unlisted)
        findings.push_back({Severity::NOTE, path.string(), 0, "no entry lists this database file"});
}

void findHidden(const Explanation& explanation, Findings& findings)
{
    for (const auto& [key, hidden] : explanation.componentStore.values()) {
        const DbFile::StoredValue* const hiding = explanation.productionStore.find(key);
        if (hiding == nullptr || hiding->value.type == hidden.value.type)
            continue;
        const std::string type = typeText(hidden.value.type);
        std::string text = DbFile::shown(key);
        text.append(": ").append(typeText(hiding->value.type)).append(" here hides ");
        text.append(type).append(" in ").append(DbFile::shown(explanation.files[hidden.file].path));
        text.append(": a client that reads ").append(type).append(" gets a type mismatch");
        findings.push_back(
            {Severity::WARNING, explanation.production->file.path, 0, std::move(text)});
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

std::vector<NodeFinding> findingsIn(const Explanation& explanation,
                                    const std::vector<std::string>& keys, const FindingScope& scope)
{
    Findings findings;
    findInEntries(explanation, findings);
    if (scope.defects && explanation.production)
        findDefects(explanation.production->file.path, *explanation.production->content, scope,
                    findings);
    for (const ExplainedFile& file : explanation.files)
        findInFile(explanation, file, scope, findings);
    if (scope.unlisted)
        findUnlisted(explanation, scope.place, findings);
    findHidden(explanation, findings);
    findDiffering(explanation, keys, findings);
    for (NodeFinding& finding : schemaFindingsIn(explanation, scope.schema))
        findings.push_back(std::move(finding));
    return findings;
}

} // namespace Varnix::Tool
