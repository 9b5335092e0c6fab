#include "production.h"

#include "command.h"
#include "dbfile/decoder.h"
#include "dbfile/shown.h"
#include "dbfile/types.h"
#include "files.h"
#include "store.h"
#include "tokenize.h"

#include <cstdlib>

namespace Varnix::Tool {

std::vector<ProductionFile> productionFiles()
{
    std::vector<ProductionFile> files;
    for (const char* const variable : productionVariables)
        if (const char* const path = std::getenv(variable); path != nullptr)
            files.push_back({variable, path});
    return files;
}

std::optional<Production> readProduction(const std::vector<ProductionFile>& files)
{
    for (const ProductionFile& file : files) {
        const Image image = readImage(file.path);
        if (!image.problem)
            return Production{file, DbFile::readRecords(image.bytes)};
        if (image.isLoaded)
            break;
    }
    return std::nullopt;
}

std::string whyNoProduction()
{
    const std::vector<ProductionFile> files = productionFiles();
    if (files.empty())
        return std::string("neither ") + productionVariables[0] + " nor " + productionVariables[1] +
               " is set in the environment";
    std::string text;
    for (const ProductionFile& file : files) {
        const Image image = readImage(file.path);
        text.append(text.empty() ? "" : "\n")
            .append(file.variable)
            .append(": ")
            .append(image.problem.value_or("it was not loaded"));
        if (image.isLoaded)
            break;
    }
    return text;
}

std::vector<std::string> requireIdentities(const std::optional<Production>& production,
                                           const std::string& alternative)
{
    if (!production)
        throw Failure(Status::NODE_UNUSABLE,
                      "varnix: no production database: " + whyNoProduction() +
                          "\nName one in the environment" + alternative + '.');
    Store store;
    store.populate(production->records, 0);
    const StoredValue* const found = store.find(identitiesKey);
    if (found == nullptr || found->value.type != DbFile::charType)
        throw Failure(Status::NODE_UNUSABLE, "varnix: no identities: the production database " +
                                                 DbFile::shown(production->file.path) +
                                                 " holds no text at " + identitiesKey +
                                                 "\nAdd it to its source" + alternative + '.');
    return Backend::DBUtils::tokenize(found->value.data, " ");
}

} // namespace Varnix::Tool
