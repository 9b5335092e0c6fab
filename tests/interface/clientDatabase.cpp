#include "tests/support/dbBuilder.h"

#include <filesystem>

/** Writes the databases of a client that is built and run outside the tree into a directory. */
int main(int argc, char** argv)
{
    using namespace Varnix::Test;
    if (argc != 2)
        return 2;
    const std::filesystem::path directory = argv[1];
    DbBuilder().text("/componentConfigId", "board_1").write(directory / "production.db");
    DbBuilder().u16("/unit/gain", {17, 31}).write(directory / "component.db");
    return 0;
}
