#include "document.h"
#include "explainPrint.h"

#include <nlohmann/json.hpp>

namespace Varnix::Tool {

namespace {

using Json = nlohmann::ordered_json;

Json documentOf(const std::optional<Production>& production)
{
    return production
               ? Json{{"path", production->file.path}, {"variable", production->file.variable}}
               : Json();
}

Json documentOf(const std::vector<ExplainedEntry>& entries)
{
    Json documents = Json::array();
    for (const ExplainedEntry& entry : entries)
        documents.push_back({{"index", documents.size()},
                             {"file", entry.place.file},
                             {"line", entry.place.line},
                             {"pattern", entry.pattern},
                             {"matches", entry.matches},
                             {"files", entry.configuration.filePaths}});
    return documents;
}

Json documentOf(const ExplainedFile& file)
{
    Json listings = Json::array();
    for (const Listing& listing : file.listings)
        listings.push_back({{"entry", listing.entry}, {"position", listing.position}});
    return {{"path", file.path},
            {"selected", file.selected},
            {"listings", std::move(listings)},
            {"problem", file.problem ? Json(*file.problem) : Json()}};
}

Json answerDocument(const Explanation& explanation, const std::string& key)
{
    const Answer answer = explanation.answerFor(key);
    Json document{{"result", nameOf(answer.kind)}};
    if (answer.kind != Answer::Kind::VALUE && answer.kind != Answer::Kind::MISMATCH)
        return document;
    document["production"] = answer.fromProduction;
    document["file"] = answer.fromProduction ? explanation.production->file.path
                                             : explanation.files[answer.file].path;
    addValue(document, answer.value);
    if (answer.hiddenType)
        document["hiddenType"] = *answer.hiddenType;
    return document;
}

Json keyDocument(const Explanation& explanation, const std::string& key)
{
    Json production;
    if (const DbFile::StoredValue* const found = explanation.productionStore.find(key))
        addValue(production, found->value);
    Json files = Json::array();
    for (const ExplainedFile& file : explanation.files)
        if (const DbFile::StoredValue* const found = file.find(key)) {
            Json document{{"path", file.path}, {"selected", file.selected}};
            addValue(document, found->value);
            files.push_back(std::move(document));
        }
    Json document{{"key", key},
                  {"production", std::move(production)},
                  {"files", std::move(files)},
                  {"client", answerDocument(explanation, key)}};
    if (explanation.held) {
        document["process"] = documentOf(explanation.heldAnswerFor(key));
        document["differs"] = explanation.differs(key);
    }
    return document;
}

} // namespace

Json documentOf(const Answer& answer)
{
    Json document{{"result", nameOf(answer.kind)}};
    if (answer.kind == Answer::Kind::VALUE || answer.kind == Answer::Kind::MISMATCH)
        addValue(document, answer.value);
    return document;
}

Json documentOf(const Explanation& explanation, const std::vector<std::string>& keys,
                const std::vector<NodeFinding>& findings)
{
    Json document{{"config", explanation.config},
                  {"production", documentOf(explanation.production)},
                  {"identities", explanation.identities},
                  {"entries", documentOf(explanation.entries)},
                  {"files", Json::array()},
                  {"keys", Json::array()},
                  {"findings", Json::array()},
                  {"errors", Json::array()}};
    if (explanation.held)
        document["pid"] = explanation.held->process;
    for (const ExplainedFile& file : explanation.files)
        document["files"].push_back(documentOf(file));
    for (const std::string& key : keys)
        document["keys"].push_back(keyDocument(explanation, key));
    for (const NodeFinding& finding : findings)
        document["findings"].push_back(documentOf(finding));
    return document;
}

} // namespace Varnix::Tool
