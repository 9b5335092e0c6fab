#include "explanation.h"

#include "configuration.h"
#include "dbfile/types.h"
#include "selection.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

namespace Varnix::Tool {

namespace {

namespace Selection = Backend::Selection;
using Backend::DBUtils::ConfigText;
using Backend::DBUtils::DbConfiguration;

/** The identities to select for, and the production values that a client would get. */
void readNode(Explanation& explanation, const NodePlace& place, const FileReader& read)
{
    const std::vector<ProductionFile> files = place.productionFiles();
    if (place.identities.empty())
        refuseEndless(files, read);
    explanation.production = readProduction(files, read);
    if (explanation.production)
        explanation.productionStore = explanation.production->content->store;
    std::optional<std::string> alternative;
    if (!place.isWholeNode)
        alternative = ", or give identities with --identity";
    explanation.identities = place.identities.empty() ? requireIdentities(explanation.production,
                                                                          files, read, alternative)
                                                      : place.identities;
    if (!explanation.production)
        explanation.noProduction = whyNoProduction(files, read);
}

ExplainedEntry explainEntry(const DbConfiguration& configuration, ConfigText::Place place,
                            const std::vector<std::string>& identities)
{
    ExplainedEntry entry{configuration, std::move(place), Selection::pattern(configuration), {}};
    std::copy_if(
        identities.begin(), identities.end(), std::back_inserter(entry.matches),
        [&](const std::string& identity) { return Selection::matches(entry.pattern, identity); });
    return entry;
}

/** Where the entries list the path; only those that match, or only those that do not. */
void addListings(ExplainedFile& file, const std::vector<ExplainedEntry>& entries, bool matching)
{
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const std::vector<std::string>& paths = entries[i].configuration.filePaths;
        if (entries[i].matches.empty() == matching)
            continue;
        for (std::size_t j = 0; j < paths.size(); ++j)
            if (paths[j] == file.path)
                file.listings.push_back({i, j});
    }
}

std::vector<ExplainedFile> listFiles(const std::vector<ExplainedEntry>& entries,
                                     const std::vector<std::string>& selected)
{
    std::vector<std::string> paths = selected;
    for (const ExplainedEntry& entry : entries)
        paths.insert(paths.end(), entry.configuration.filePaths.begin(),
                     entry.configuration.filePaths.end());
    std::vector<ExplainedFile> files;
    for (const std::string& path : Selection::withoutDuplicates(paths)) {
        ExplainedFile file;
        file.path = path;
        file.selected = files.size() < selected.size();
        addListings(file, entries, true);
        addListings(file, entries, false);
        files.push_back(std::move(file));
    }
    return files;
}

/** Sets what a read makes of a stored value. */
void setValue(Answer& answer, const DbFile::Value& stored)
{
    const DbFile::Type* const type = DbFile::findType(stored.type);
    answer.kind = type == nullptr ? Answer::Kind::MISMATCH : Answer::Kind::VALUE;
    answer.value = stored;
    if (type != nullptr) // reads leave out what is no whole element
        answer.value.data.resize(answer.value.data.size() / type->elementSize * type->elementSize);
}

} // namespace

const char* nameOf(Answer::Kind kind) noexcept
{
    switch (kind) {
    case Answer::Kind::NO_DATABASE:
        return "no database";
    case Answer::Kind::ABSENT:
        return "absent";
    case Answer::Kind::MISMATCH:
        return "type mismatch";
    default:
        return "value";
    }
}

const DbFile::StoredValue* ExplainedFile::find(const std::string& key) const
{
    return content ? content->store.find(key) : nullptr;
}

bool Explanation::isUsable() const
{
    return std::none_of(files.begin(), files.end(), [](const ExplainedFile& file) {
        return file.selected && file.problem.has_value();
    });
}

Answer Explanation::answerFor(const std::string& key) const
{
    const DbFile::StoredValue* const inProduction = productionStore.find(key);
    const DbFile::StoredValue* const inComponents = componentStore.find(key);
    Answer answer;
    if (!isUsable()) {
        answer.kind = Answer::Kind::NO_DATABASE;
        return answer;
    }
    const DbFile::StoredValue* const found = inProduction != nullptr ? inProduction : inComponents;
    if (found == nullptr)
        return answer;
    setValue(answer, found->value);
    answer.fromProduction = inProduction != nullptr;
    answer.file = found->file;
    if (inProduction != nullptr && inComponents != nullptr &&
        inProduction->value.type != inComponents->value.type)
        answer.hiddenType = inComponents->value.type;
    return answer;
}

Answer Explanation::heldAnswerFor(const std::string& key) const
{
    Answer answer;
    if (const auto found = held->values.find(key); found != held->values.end())
        setValue(answer, found->second);
    return answer;
}

bool Explanation::differs(const std::string& key) const
{
    if (!held)
        return false;
    const Answer now = heldAnswerFor(key);
    const Answer fromFiles = answerFor(key);
    return now.kind != fromFiles.kind || now.value != fromFiles.value;
}

std::vector<std::string> Explanation::keys() const
{
    std::set<std::string> found;
    if (held)
        for (const auto& [key, value] : held->values)
            found.insert(key);
    for (const DbFile::Store* const store : {&productionStore, &componentStore})
        for (const auto& [key, value] : store->values())
            found.insert(key);
    return {found.begin(), found.end()};
}

Explanation explain(const std::string& config, const NodePlace& place, const FileReader& read)
{
    Explanation explanation;
    explanation.config = config;
    readNode(explanation, place, read);
    std::vector<ConfigText::Place> places;
    const std::vector<DbConfiguration> configurations = readConfiguration(config, &places, place);
    for (std::size_t i = 0; i < configurations.size(); ++i)
        explanation.entries.push_back(
            explainEntry(configurations[i], std::move(places[i]), explanation.identities));
    explanation.files = listFiles(explanation.entries,
                                  Selection::selectFiles(configurations, explanation.identities));

    // As the library loads them: the last first, so that the first wins.
    for (std::size_t i = explanation.files.size(); i-- > 0;) {
        ExplainedFile& file = explanation.files[i];
        DatabaseFile database = read(place.locate(file.path));
        file.content = std::move(database.content);
        file.problem = std::move(database.problem);
        if (!file.problem && file.selected)
            explanation.componentStore.populate(file.content->records, i);
    }
    return explanation;
}

} // namespace Varnix::Tool
