/*
 * A client of many nodes: in each directory, in a process of its own, it asks for the database of
 * node.cfg there, makes every read of every key in the file "keys", and writes what it got to the
 * file "reads". For each process it prints the directory, the exit status and the signal.
 *     hostile_image_client DIRECTORY...
 */
#include "reads.h"
#include "tests/support/waitUntil.h"

#include <cstdint>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>
#include <varnix/databaseIf.h>
#include <varnix/dbRegistryIf.h>

namespace {

using Varnix::V1::DatabaseIf;
using namespace Varnix::Test::ImageReads;

const unsigned timeLimitInSeconds = 60 * Varnix::Test::slowness();

std::string hex(const std::string& bytes)
{
    constexpr const char* digits = "0123456789abcdef";
    std::string result;
    for (const char byte : bytes) {
        result += digits[static_cast<unsigned char>(byte) / 16];
        result += digits[static_cast<unsigned char>(byte) % 16];
    }
    return result;
}

template <typename T>
void readNumbers(const DatabaseIf& database, const std::string& key, std::ostream& out)
{
    std::vector<T> values{numberBefore};
    out << static_cast<int>(database.get(key, values));
    for (const T value : values)
        out << ' ' << std::int64_t{value};
    out << '\n';
}

void readKey(const DatabaseIf& database, const std::string& key, std::ostream& out)
{
    out << "key " << hex(key) << '\n';
    readNumbers<std::uint8_t>(database, key, out);
    readNumbers<std::int8_t>(database, key, out);
    readNumbers<std::uint16_t>(database, key, out);
    readNumbers<std::int16_t>(database, key, out);
    readNumbers<std::uint32_t>(database, key, out);
    readNumbers<std::int32_t>(database, key, out);
    std::string text = textBefore;
    out << static_cast<int>(database.get(key, text));
    out << ' ' << hex(text) << '\n';
    std::vector<std::string> words{textBefore};
    out << static_cast<int>(database.get(key, words));
    for (const std::string& word : words)
        out << ' ' << hex(word);
    out << '\n';
}

int readNode(const char* directory)
{
    ::alarm(timeLimitInSeconds);
    if (::chdir(directory) != 0)
        return 2;
    std::ifstream keys(keysFile, std::ios::binary);
    std::ofstream out(readsFile, std::ios::binary);
    if (const auto database = Varnix::V1::DbRegistryIf::getInstance().initDb(config))
        for (std::string key; std::getline(keys, key, '\0');)
            readKey(*database, key, out);
    else
        out << noDatabase;
    return out.flush() ? 0 : 3;
}

} // namespace

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        const pid_t child = ::fork();
        if (child == 0)
            return readNode(argv[i]);
        int ending = 0;
        if (child < 0 || ::waitpid(child, &ending, 0) != child)
            return 1;
        std::cout << argv[i] << " status " << (WIFEXITED(ending) ? WEXITSTATUS(ending) : -1)
                  << " signal " << (WIFSIGNALED(ending) ? WTERMSIG(ending) : 0) << std::endl;
    }
    return 0;
}
