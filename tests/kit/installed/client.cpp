// A client's test as a user of the installed kit writes it: threads read and watch while an
// operator writes.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include <varnix/dbRegistryIf.h>
#include <varnix/kit/fakeDatabase.h>
#include <varnix/kit/parameter.h>
#include <varnix/kit/testNode.h>
#include <varnix/kit/watcher.h>

using namespace Varnix;

int main()
{
    Kit::TestNode node;
    const std::string unit =
        node.database("unit.db", "/unit/gain U16 1 1\n/unit/label CHAR \"a b\"\n");
    const std::string file =
        node.configuration("varnix = { component_versions = ( { component_id = \"test\"; "
                           "revision = \"1\"; file_paths = [ \"" +
                           unit + "\" ]; } ); };");
    const auto database = V1::DbRegistryIf::getInstance().initDb(file);
    const Kit::Parameter<std::uint16_t> gain(database, "/unit/gain");
    const Kit::Parameter<std::vector<std::string>> label(database, "/unit/label");
    const Kit::FakeDatabase fake;

    std::atomic<bool> over{false};
    std::thread reader([&] {
        while (!over)
            if (gain.value() == 0 || label.value().size() != 2)
                std::abort();
    });
    int told = 0;
    Kit::Watcher watcher(std::chrono::milliseconds(1));
    watcher.add(gain, [&](std::uint16_t) { ++told; });
    for (int value = 2; value <= 20; ++value) {
        node.write({"db", "write", "/unit/gain", std::to_string(value)});
        watcher.look();
    }
    over = true;
    reader.join();
    std::cout << "gain " << gain.value() << ", " << told << " changes" << std::endl;
    return 0;
}
