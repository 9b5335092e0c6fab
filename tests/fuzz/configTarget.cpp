/**
 * The component configuration file: any text is read or refused with an error that says where, and
 * the entries before the error stay.
 *
 * The text itself is read by libconfig. It follows "@include" to any file, and ends the process
 * when that cannot be read, so such texts are left out.
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
    if (text.find("@include") != std::string_view::npos)
        return 0;
    static Fuzz::MemoryFile file;
    file.write(text);

    std::vector<Backend::DBUtils::DbConfiguration> entries{{"earlier", "R1", {}}};
    const auto error = Backend::DBUtils::readConfigFile(file.path(), entries);
    require(entries.front().componentId == "earlier", "what the caller held stays");
    if (error) {
        const std::string words = Backend::DBUtils::describe(*error, file.path());
        require(words.find(file.path()) != std::string::npos, "an error names the file");
        const int read = isBeforeTheEntries(*error) ? 0 : error->element;
        require(entries.size() == static_cast<std::size_t>(read) + 1,
                "the entries before the error stay, and no other");
    }
    Backend::Selection::selectFiles(entries, {"board-x_R1", "unit_1"});
    return 0;
}
