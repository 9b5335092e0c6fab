#include "tests/support/processState.h"
#include "tests/support/waitUntil.h"

#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <varnix/databaseIf.h>
#include <varnix/dbRegistryIf.h>

namespace {

using namespace Varnix::V1;
using Values = std::vector<std::uint16_t>;
using Handle = std::shared_ptr<DatabaseIf>;

constexpr const char* library = "libvarnix.so.0";

/** Older than anything of the library, which is loaded later: it outlives the library's statics. */
Handle kept;

/** A database, through a library that this program does not link. */
Handle open(void* loaded, const char* configuration)
{
    using GetInstance = DbRegistryIf& (*)();
    void* const symbol = ::dlsym(loaded, "_ZN6Varnix2V112DbRegistryIf11getInstanceEv");
    return symbol == nullptr ? nullptr
                             : reinterpret_cast<GetInstance>(symbol)().initDb(configuration);
}

/** Reads; with `written`, only after writes have come in. */
bool use(const DatabaseIf& db, bool written)
{
    Values values;
    if (db.get("/unit/gain", values) != DatabaseIf::RetCode::OK || values.size() != 4)
        return false;
    return !written || Varnix::Test::waitUntil([&] {
        db.get("/unit/gain", values);
        return values[0] != 0;
    });
}

/** Loads, uses and unloads the library; returns what went wrong. */
const char* loadAndUnload(const char* configuration, bool written)
{
    void* const loaded = ::dlopen(library, RTLD_NOW | RTLD_LOCAL);
    if (loaded == nullptr)
        return ::dlerror();
    {
        const Handle db = open(loaded, configuration);
        if (!db || !use(*db, written))
            return "the library cannot be used";
    }
    if (::dlclose(loaded) != 0)
        return "the library cannot be closed";
    if (Varnix::Test::isMapped("libvarnix"))
        return "the library is still there";
    // A thread that has been joined may be listed for a moment longer.
    const auto ended = [] { return Varnix::Test::threadsNamed("varnixCmd") == 0; };
    return Varnix::Test::waitUntil(ended) ? nullptr : "its thread is still there";
}

} // namespace

/**
 * A client that loads the library at run time:
 *     loading_client CONFIG unload TIMES [burst]     unloads it again, TIMES over
 *     loading_client CONFIG keep 1 [burst]           keeps a handle in a static object and ends
 */
int main(int argc, char** argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const bool burst = arguments.size() > 3;
    if (arguments.at(1) == "keep") {
        void* const loaded = ::dlopen(library, RTLD_NOW | RTLD_LOCAL);
        kept = loaded == nullptr ? nullptr : open(loaded, arguments[0].c_str());
        return kept && use(*kept, burst) ? 0 : 1;
    }
    for (int i = std::stoi(arguments.at(2)); i > 0; --i) {
        if (const char* const wrong = loadAndUnload(arguments[0].c_str(), burst)) {
            std::cerr << wrong << std::endl;
            return 1;
        }
    }
    return 0;
}
