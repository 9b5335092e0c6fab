/**
 * The component configuration file: any text is read or refused with an error that says where, and
 * the entries before the error stay. Directives may include any file of the host, among them what
 * is no file, and the text itself.
 */
#include "configFile.h"
#include "memoryFile.h"
#include "selection.h"
#include "target.h"

#include <string>
#include <vector>

namespace {

using namespace Varnix;
using Backend::DBUtils::ConfigError;
using Fuzz::require;

bool isBeforeTheEntries(const ConfigError& error)
{
    return error.kind == ConfigError::Kind::UNREADABLE ||
           error.kind == ConfigError::Kind::NO_COMPONENT_VERSIONS;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = Fuzz::viewOf(data, size);
    static Fuzz::MemoryFile file;
    file.write(text);

    std::vector<Backend::DBUtils::DbConfiguration> entries{{"earlier", "R1", {}}};
    const auto error = Backend::DBUtils::readConfigFile(file.path(), entries);
    require(entries.front().componentId == "earlier", "what the caller held stays");
    if (error) {
        require(error->line == 0 || !error->file.empty(), "a line is one of a file");
        const std::string words = Backend::DBUtils::describe(*error, file.path());
        require(words.find(file.path()) != std::string::npos, "an error names the file");
        const int read = isBeforeTheEntries(*error) ? 0 : error->element;
        require(entries.size() == static_cast<std::size_t>(read) + 1,
                "the entries before the error stay, and no other");
    }
    Backend::Selection::selectFiles(entries, {"board-x_R1", "unit_1"});
    return 0;
}
