#include "tests/support/dbBuilder.h"

#include <filesystem>

/** Writes the databases of a client that is built and run outside the tree into a folder. */
int main(int argc, char** argv)
{
    using namespace Varnix::Test;
    if (argc != 2)
        return 2;
    const std::filesystem::path folder = argv[1];
    DbBuilder().text("/componentConfigId", "board_1").write(folder / "production.db");
    DbBuilder().u16("/unit/gain", {17, 31}).write(folder / "component.db");
    return 0;
}
