#include "nodePlace.h"

#include "rootedPath.h"

#include <utility>

#include <CLI/Validators.hpp>

namespace Varnix::Tool {

std::string NodePlace::locate(const std::string& path) const
{
    return !root.empty() && (isWholeNode || path.starts_with('/')) ? pathBelow(root, path) : path;
}

std::vector<ProductionFile> NodePlace::productionFiles() const
{
    std::vector<ProductionFile> files;
    if (production)
        files.push_back({productionOption, *production, {}});
    else
        files = productionFilesOfEnvironment();
    for (ProductionFile& file : files)
        file.place = locate(file.path);
    return files;
}

void addNodeOptions(CLI::App& command, NodePlace& place, CLI::Option* process)
{
    CLI::Option* const root =
        command
            .add_option("--root", place.root,
                        "Look for absolute paths below this directory, as on a node whose root "
                        "directory it is")
            ->type_name("DIR")
            ->check(CLI::ExistingDirectory);
    CLI::Option* const production =
        command
            .add_option(productionOption, place.production,
                        "The production database, in place of the one that the environment names")
            ->type_name("FILE");
    CLI::Option* const identity =
        command
            .add_option("--identity", place.identities,
                        "An identity to select for, instead of those in the production database, "
                        "which then need not exist; may be given several times")
            ->type_name("ID")
            ->allow_extra_args(false);
    if (process != nullptr)
        for (CLI::Option* const option : {root, production, identity})
            option->excludes(process);
}

} // namespace Varnix::Tool
