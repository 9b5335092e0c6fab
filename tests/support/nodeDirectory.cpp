#include "tests/support/nodeDirectory.h"

#include <cstdlib>

namespace Varnix::Test {

namespace {

std::string quoted(const std::string& text)
{
    return '"' + text + '"';
}

} // namespace

std::string configText(const std::vector<ConfigEntry>& entries)
{
    std::string elements;
    for (const ConfigEntry& entry : entries) {
        std::string paths;
        for (const std::string& path : entry.filePaths)
            paths += (paths.empty() ? "" : ", ") + quoted(path);
        elements += std::string(elements.empty() ? "" : ",\n") +
                    "  { component_id = " + quoted(entry.componentId) +
                    "; revision = " + quoted(entry.revision) + "; file_paths = [" + paths + "]; }";
    }
    return "varnix = {\n component_versions = (\n" + elements + "\n );\n};\n";
}

void NodeDirectory::production(const DbBuilder& builder) const
{
    noProduction();
    ::setenv(secondVariable, database("production.db", builder).c_str(), 1);
}

void NodeDirectory::noProduction()
{
    ::unsetenv(firstVariable);
    ::unsetenv(secondVariable);
}

std::string NodeDirectory::database(const std::string& name, const DbBuilder& builder) const
{
    const std::filesystem::path path = m_directory / name;
    builder.write(path);
    return path.string();
}

std::string NodeDirectory::configuration(const std::string& name,
                                         const std::vector<ConfigEntry>& entries) const
{
    const std::filesystem::path path = m_directory / name;
    writeFile(path, configText(entries));
    return path.string();
}

} // namespace Varnix::Test
