#include "oldValues.h"

#include "command.h"
#include "configFile.h"
#include "inspection/notInspected.h"
#include "inspection/process.h"
#include "processPlace.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

namespace Varnix::Tool {

namespace {

namespace fs = std::filesystem;
using Inspection::NotInspected;
using Inspection::Process;
using Inspection::StoreView;

/** What a process reads, by the paths that it uses. */
class ProcessFiles
{
public:
    ProcessFiles(pid_t process, const fs::path& file)
        : m_process(process), m_place(placeOf(process)),
          m_directory("/proc/" + std::to_string(process) + "/cwd"), m_file(file)
    {
    }

    bool hold(const StoreView& store) const
    {
        return store.config.empty() ? isProduction() : isListed(store.config);
    }

private:
    /** Where the process's `path` is for this one. */
    std::string located(const std::string& path) const
    {
        return (m_directory / m_place.locate(path)).string();
    }

    bool isFile(const std::string& path) const
    {
        std::error_code error;
        return fs::equivalent(located(path), m_file, error);
    }

    bool isProduction() const
    {
        const std::vector<std::string> paths = productionPathsOf(m_process);
        return std::any_of(paths.begin(), paths.end(),
                           [this](const std::string& path) { return isFile(path); });
    }

    bool isListed(const std::string& config) const
    {
        std::vector<Backend::DBUtils::DbConfiguration> entries;
        readConfigFile(config, entries, nullptr,
                       [this](const std::string& path) { return located(path); });
        return std::any_of(entries.begin(), entries.end(), [this](const auto& entry) {
            return std::any_of(entry.filePaths.begin(), entry.filePaths.end(),
                               [this](const std::string& path) { return isFile(path); });
        });
    }

    pid_t m_process;
    NodePlace m_place;
    fs::path m_directory;
    const fs::path& m_file;
};

std::set<std::string> heldKeys(const Process& process, const StoreView& store,
                               const std::vector<DbFile::Difference>& differences)
{
    std::set<std::string> keys;
    const auto parameters = process.parameters(store);
    if (!parameters)
        return keys;
    for (const Inspection::ParameterView& held : *parameters) {
        const auto difference = std::lower_bound(
            differences.begin(), differences.end(), held.key,
            [](const DbFile::Difference& a, const std::string& key) { return a.key < key; });
        if (difference != differences.end() && difference->key == held.key && difference->first &&
            difference->first->value == DbFile::Value{.type = held.type, .data = held.value})
            keys.insert(held.key);
    }
    return keys;
}

std::optional<OldHolder> look(pid_t id, const fs::path& file,
                              const std::vector<DbFile::Difference>& differences)
{
    try {
        const Process process(id);
        const ProcessFiles files(id, file);
        std::set<std::string> keys;
        for (const StoreView& store : process.registry().stores)
            if (files.hold(store))
                keys.merge(heldKeys(process, store, differences));
        if (keys.empty())
            return std::nullopt;
        return OldHolder{id, process.command(), {keys.begin(), keys.end()}};
    } catch (const NotInspected&) {
        return std::nullopt; // it has no registry, is gone or is somebody else's
    } catch (const Failure&) {
        return std::nullopt; // its paths lead nowhere
    }
}

} // namespace

std::vector<OldHolder> holdersOfOld(const std::string& path,
                                    const std::vector<DbFile::Difference>& differences)
{
    std::vector<OldHolder> holders;
    if (differences.empty())
        return holders;
    for (const pid_t id : Inspection::processIds())
        if (auto holder = look(id, path, differences))
            holders.push_back(std::move(*holder));
    return holders;
}

} // namespace Varnix::Tool
