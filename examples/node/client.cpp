/*
 * A client of Varnix, to be copied: reads the typed parameters of a component and, if asked to,
 * follows them while operators change them.
 *
 *     example-client CONFIG            prints the values
 *     example-client CONFIG CHANGES    prints them, then every change, and ends after CHANGES of
 *                                      them; with 0 it goes on until it is stopped
 *
 * The environment says where the node's production database is:
 *
 *     export sys_uflash_prod_db_dev=production.db
 */
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <varnix/dbRegistryIf.h>

using Varnix::V1::DatabaseIf;
using Varnix::V1::DbRegistryIf;

namespace {

/* Values as text, each parameter type in its own way. */

std::string toText(const std::string& text)
{
    return text;
}

std::string toText(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words)
        text += '<' + word + '>';
    return text;
}

template <typename Integer>
std::string toText(const std::vector<Integer>& values)
{
    std::string text;
    for (const Integer value : values)
        text += (text.empty() ? "" : " ") + std::to_string(value);
    return text;
}

/*
 * Reads one parameter. The type of the output must be the type that the parameter is stored with;
 * nothing is converted.
 */
template <typename Value>
std::string read(const DatabaseIf& database, const std::string& key)
{
    Value value;
    switch (database.get(key, value)) {
    case DatabaseIf::RetCode::OK:
        return toText(value);
    case DatabaseIf::RetCode::KEY_NOT_FOUND:
        return "(no such parameter)";
    case DatabaseIf::RetCode::TYPE_MISMATCH:
        return "(a parameter of another type)";
    }
    return "(unknown result)";
}

struct Parameter
{
    std::string key;
    std::string text;
};

/* Everything that this client uses. */
std::vector<Parameter> readAll(const DatabaseIf& database)
{
    return {
        {"/node/serial", read<std::string>(database, "/node/serial")},
        {"/unit/label", read<std::string>(database, "/unit/label")},
        {"/unit/modes", read<std::vector<std::string>>(database, "/unit/modes")},
        {"/unit/gain", read<std::vector<std::uint16_t>>(database, "/unit/gain")},
        {"/unit/offset", read<std::vector<std::int32_t>>(database, "/unit/offset")},
        {"/unit/limits", read<std::vector<std::int16_t>>(database, "/unit/limits")},
        {"/unit/threshold", read<std::vector<std::uint8_t>>(database, "/unit/threshold")},
        {"/board/fan", read<std::vector<std::uint8_t>>(database, "/board/fan")},
        {"/board/trim", read<std::vector<std::int8_t>>(database, "/board/trim")},
        {"/board/clock", read<std::vector<std::uint32_t>>(database, "/board/clock")},
        // A file that no matching entry lists is not loaded.
        {"/spare/gain", read<std::vector<std::uint16_t>>(database, "/spare/gain")},
    };
}

void print(const Parameter& parameter)
{
    std::cout << parameter.key << '\t' << parameter.text << std::endl;
}

/* Prints every parameter that changes. There is no call-back: a later read gives the new value. */
void follow(const DatabaseIf& database, std::vector<Parameter> known, unsigned long changes)
{
    const bool forEver = changes == 0;
    while (forEver || changes > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        std::vector<Parameter> current = readAll(database);
        for (std::size_t i = 0; i < current.size(); ++i) {
            if (current[i].text != known[i].text && (forEver || changes > 0)) {
                print(current[i]);
                --changes;
            }
        }
        known = std::move(current);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2 || argc > 3) {
        std::cerr << "usage: example-client CONFIG [CHANGES]\n";
        return 2;
    }

    // The one registry of this process. The first initDb reads the production database and starts
    // the thread that receives operators' writes.
    DbRegistryIf& registry = DbRegistryIf::getInstance();

    // The handle: keep it as long as the parameters are of interest. Any thread may read from it.
    const std::shared_ptr<DatabaseIf> database = registry.initDb(argv[1]);
    if (!database) {
        std::cerr << "example-client: no database for " << argv[1]
                  << "; varnix explain or varnix trace says why\n";
        return 5;
    }

    const std::vector<Parameter> parameters = readAll(*database);
    for (const Parameter& parameter : parameters)
        print(parameter);
    if (argc == 3)
        follow(*database, parameters, std::strtoul(argv[2], nullptr, 10));
    return 0;
}
