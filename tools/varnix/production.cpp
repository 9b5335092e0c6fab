#include "production.h"

#include "command.h"
#include "dbfile/shown.h"
#include "dbfile/types.h"
#include "tokenize.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

namespace Varnix::Tool {

namespace {

std::string advice(const char* what, const std::optional<std::string>& alternative)
{
    return alternative ? std::string("\n") + what + *alternative + '.' : "";
}

bool isAnyReadable(const std::vector<ProductionFile>& files, const FileReader& read)
{
    return std::any_of(files.begin(), files.end(), [&](const ProductionFile& file) {
        return read(file.place).content != nullptr;
    });
}

} // namespace

std::vector<ProductionFile> productionFilesOfEnvironment()
{
    std::vector<ProductionFile> files;
    for (const char* const variable : productionVariables)
        if (const char* const path = std::getenv(variable); path != nullptr)
            files.push_back({variable, path, path});
    return files;
}

std::optional<Production> readProduction(const std::vector<ProductionFile>& files,
                                         const FileReader& read)
{
    for (const ProductionFile& file : files) {
        DatabaseFile database = read(file.place);
        if (!database.problem)
            return Production{file, std::move(database.content)};
        if (database.isLoaded())
            break;
    }
    return std::nullopt;
}

std::string whyNoProduction(const std::vector<ProductionFile>& files, const FileReader& read)
{
    if (files.empty())
        return std::string("neither ") + productionVariables[0] + " nor " + productionVariables[1] +
               " is set in the environment";
    std::string text;
    for (const ProductionFile& file : files) {
        const DatabaseFile database = read(file.place);
        text.append(text.empty() ? "" : "\n")
            .append(file.variable)
            .append(": ")
            .append(database.problem.value_or("it was not loaded"));
        if (database.isLoaded())
            break;
    }
    return text;
}

void refuseEndless(const std::vector<ProductionFile>& files, const FileReader& read)
{
    for (const ProductionFile& file : files) {
        std::error_code error; // only a file can be asked: a pipe gives its bytes once
        if (!std::filesystem::is_regular_file(file.place, error))
            continue;
        const DatabaseFile database = read(file.place);
        if (database.content && database.content->endsEarly)
            throw Failure(Status::NODE_UNUSABLE,
                          "varnix: no production database: " + file.variable + ": " +
                              database.problem.value_or(""),
                          Status::INVALID);
        if (database.isLoaded())
            break;
    }
}

std::vector<std::string> requireIdentities(const std::optional<Production>& production,
                                           const std::vector<ProductionFile>& files,
                                           const FileReader& read,
                                           const std::optional<std::string>& alternative)
{
    if (!production)
        throw Failure(Status::NODE_UNUSABLE,
                      "varnix: no production database: " + whyNoProduction(files, read) +
                          advice("Name one in the environment", alternative),
                      isAnyReadable(files, read) ? Status::INVALID : Status::UNREADABLE);
    const DbFile::StoredValue* const found = production->content->store.find(identitiesKey);
    if (found == nullptr || found->value.type != DbFile::charType)
        throw Failure(Status::NODE_UNUSABLE,
                      "varnix: no identities: the production database " +
                          DbFile::shown(production->file.path) + " holds no text at " +
                          identitiesKey + advice("Add it to its source", alternative),
                      Status::INVALID);
    return Backend::DBUtils::tokenize(found->value.data, " ");
}

} // namespace Varnix::Tool
