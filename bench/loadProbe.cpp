#include "bench/probe.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <varnix/dbRegistryIf.h>

// A process that loads once.

namespace {

/** What a load cannot do without: read the file, copy it into memory that stays. */
std::unique_ptr<char[]> readAndCopy(const char* path)
{
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::fopen(path, "rb"),
                                                                  std::fclose);
    if (!file)
        std::exit(1);
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    std::fseek(file.get(), 0, SEEK_END);
    const auto size = static_cast<std::size_t>(std::ftell(file.get()));
    std::fseek(file.get(), 0, SEEK_SET);
    const std::unique_ptr<char[]> image(new char[size]);
    std::unique_ptr<char[]> copy(new char[size]);
    if (std::fread(image.get(), 1, size, file.get()) != size)
        std::exit(1);
    std::memcpy(copy.get(), image.get(), size);
    return copy;
}

} // namespace

int main(int argc, char** argv)
{
    using namespace Varnix::Bench;
    using Varnix::V1::DatabaseIf;
    using Varnix::V1::DbRegistryIf;

    if (argc == 3 && std::string(argv[1]) == "floor") {
        report(0, [&] { return readAndCopy(argv[2]); });
        return 0;
    }
    if (argc == 4 && std::string(argv[1]) == "varnix") {
        // A configuration without files: the registry, its production database, its thread.
        const auto start = Clock::now();
        const auto empty = DbRegistryIf::getInstance().initDb(argv[2]);
        const long long startup = nanosecondsSince(start);
        report(startup, [&] { return DbRegistryIf::getInstance().initDb(argv[3]); });
        return 0;
    }
    if (argc == 5 && std::string(argv[1]) == "handles") {
        const auto empty = DbRegistryIf::getInstance().initDb(argv[3]);
        report(0, [&] {
            std::vector<std::shared_ptr<DatabaseIf>> handles;
            for (int i = std::atoi(argv[2]); i > 0; --i)
                handles.push_back(DbRegistryIf::getInstance().initDb(argv[4]));
            return handles.back() ? std::make_unique<decltype(handles)>(handles) : nullptr;
        });
        return 0;
    }
    std::fputs("usage: load_probe floor FILE | varnix EMPTY-CONFIG CONFIG | handles COUNT "
               "EMPTY-CONFIG CONFIG\n",
               stderr);
    return 2;
}
