#include "nodeDiagnosis.h"

#include "command.h"
#include "configuration.h"
#include "dbfile/shown.h"
#include "production.h"
#include "selection.h"

#include <optional>
#include <vector>

namespace Varnix::Tool {

namespace {

Failure unusable(const std::string& config, const std::string& problem)
{
    return {Status::NODE_UNUSABLE, "varnix: a database file that " + DbFile::shown(config) +
                                       " selects cannot be used: " + problem};
}

} // namespace

void refuseEndlessNode()
{
    refuseEndless(productionFilesOfEnvironment(), plainReader());
}

void refuseUnusableNode(const std::string& config)
{
    const FileReader read = plainReader();
    const std::vector<ProductionFile> production = productionFilesOfEnvironment();
    const std::vector<std::string> identities =
        requireIdentities(readProduction(production, read), production, read);
    for (const std::string& path :
         Backend::Selection::selectFiles(readConfiguration(config), identities))
        if (const std::optional<std::string> problem = read(path).problem)
            throw unusable(config, *problem);
    throw Failure(Status::NODE_UNUSABLE,
                  "varnix: the library's trace events tell why it cannot use " +
                      DbFile::shown(config));
}

Failure whyUnusable(const Explanation& explanation)
{
    for (const ExplainedFile& file : explanation.files)
        if (file.selected && file.problem)
            return unusable(explanation.config, *file.problem);
    return unusable(explanation.config, "it has changed");
}

} // namespace Varnix::Tool
