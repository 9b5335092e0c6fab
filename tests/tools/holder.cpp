#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <varnix/dbRegistryIf.h>

/**
 * A client that holds the databases of the configuration files that it is given until its input
 * ends: says "ready" when it has them. A line on its input drops the oldest handle, which it
 * answers with "dropped".
 */
int main(int argc, char** argv)
{
    using namespace Varnix::V1;

    std::vector<std::shared_ptr<DatabaseIf>> databases;
    for (int i = 1; i < argc; ++i)
        databases.push_back(DbRegistryIf::getInstance().initDb(argv[i]));
    std::cout << "ready" << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        databases.erase(databases.begin());
        std::cout << "dropped" << std::endl;
    }
}
