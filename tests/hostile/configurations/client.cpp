/*
 * A client that asks for a database once, on a thread with little stack, and says whether it got
 * one and how many elements a parameter has:
 *     hostile_configuration_client CONFIG
 */
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include <pthread.h>
#include <varnix/databaseIf.h>
#include <varnix/dbRegistryIf.h>

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t stackSize = std::size_t{1} << 20;
#else
constexpr std::size_t stackSize = std::size_t{64} << 10;
#endif

void* run(void* config)
{
    using namespace Varnix::V1;
    const auto database = DbRegistryIf::getInstance().initDb(static_cast<const char*>(config));
    std::vector<std::uint8_t> value;
    if (!database)
        std::puts("no database");
    else if (database->get("/a", value) == DatabaseIf::RetCode::OK)
        std::printf("a database with %zu elements\n", value.size());
    else
        std::puts("a database without the parameter");
    return nullptr;
}

} // namespace

int main(int argc, char** argv)
{
    pthread_attr_t attributes;
    pthread_t thread{};
    if (argc != 2 || pthread_attr_init(&attributes) != 0 ||
        pthread_attr_setstacksize(&attributes, stackSize) != 0 ||
        pthread_create(&thread, &attributes, &run, argv[1]) != 0)
        return 2;
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    return 0;
}
