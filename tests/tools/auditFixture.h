#ifndef VARNIX_TESTS_AUDITFIXTURE_H
#define VARNIX_TESTS_AUDITFIXTURE_H

#include "tests/support/nodeDirectory.h"
#include "tests/tools/toolTest.h"

#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace Varnix::Test {

/** Nodes, each a directory with a configuration, a production database and one more. */
class Audit : public ToolTest
{
protected:
    Audit()
    {
        for (const char* name : {"n1", "n2", "n3"})
            makeNode(name);
    }

    void makeNode(const std::string& node, const DbBuilder& unit = DbBuilder().u16("/gain", {17}))
    {
        for (const char* directory : {"/etc", "/flash"})
            std::filesystem::create_directories(m_directory / (node + directory));
        DbBuilder()
            .text("/componentConfigId", "unit_1")
            .write(m_directory / (node + "/flash/prod.db"));
        unit.write(m_directory / (node + "/flash/unit.db"));
        write(node + "/etc/node.cfg", configText({{"unit", "1", {"/flash/unit.db"}}}));
    }

    ProcessResult audit(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(),
                         {"audit", "--config", "/etc/node.cfg", "--production", "/flash/prod.db"});
        return varnix(std::move(arguments), {.environment = {firstVariable, secondVariable}});
    }

    static std::vector<nlohmann::json> documents(const ProcessResult& result)
    {
        std::vector<nlohmann::json> lines;
        std::istringstream out(result.out);
        for (std::string line; std::getline(out, line);)
            lines.push_back(nlohmann::json::parse(line));
        return lines;
    }
};

} // namespace Varnix::Test

#endif
