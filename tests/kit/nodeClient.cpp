/*
 * A process of a node. With a configuration file it reads "/unit/gain" from it; without one it has
 * a TestNode of its own, says where, and reads from that. For each line that it is given it prints
 * the value.
 */
#include <exception>
#include <iostream>
#include <optional>
#include <string>

#include <varnix/dbRegistryIf.h>
#include <varnix/kit/parameter.h>
#include <varnix/kit/testNode.h>

namespace {

using namespace Varnix;

std::string ownConfiguration(Kit::TestNode& node)
{
    std::cout << node.directory().string() << std::endl;
    return node.configuration("varnix = { component_versions = ( { component_id = \"test\"; "
                              "revision = \"1\"; file_paths = [ \"" +
                              node.database("unit.db", "/unit/gain U16 1\n") + "\" ]; } ); };");
}

int run(int argc, char** argv)
{
    std::optional<Kit::TestNode> node;
    const std::string file = argc > 1 ? argv[1] : ownConfiguration(node.emplace());
    const auto database = V1::DbRegistryIf::getInstance().initDb(file);
    const Kit::Parameter<std::uint16_t> gain(database, "/unit/gain");
    std::cout << "ready" << std::endl;
    for (std::string line; std::getline(std::cin, line);)
        std::cout << gain.value() << std::endl;
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << error.what() << std::endl;
        return 1;
    }
}
