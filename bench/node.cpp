#include "bench/node.h"

#include "dbfile/database.h"
#include "dbfile/types.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

namespace Varnix::Bench {

namespace {

constexpr const char* identity = "bench-unit_R1";
constexpr std::size_t wordSize = 8;

void writeFile(const std::filesystem::path& path, const std::string& content)
{
    std::ofstream file(path, std::ios::binary);
    if (!(file << content << std::flush))
        throw std::runtime_error("cannot write " + path.string());
}

void append(DbFile::Database& database, const Parameters& parameters)
{
    for (std::size_t i = parameters.first; i < parameters.first + parameters.count; ++i) {
        database.records.push_back(
            {.key = keyOf(i), .type = parameters.value.type, .data = bytesOf(parameters.value, i)});
    }
}

} // namespace

std::string keyOf(std::size_t i)
{
    char key[64];
    std::snprintf(key, sizeof key, "/unit/branch%02zu/p%05zu", i % 32, i);
    return key;
}

std::string bytesOf(const Value& value, std::size_t i)
{
    std::string bytes(value.size, 'a');
    for (std::size_t k = 0; k < bytes.size(); ++k)
        bytes[k] = static_cast<char>('a' + (i + k) % 26);
    for (std::size_t k = wordSize - 1; value.words && k < bytes.size(); k += wordSize)
        bytes[k] = ' ';
    return bytes;
}

Node::Node()
{
    std::string name = std::filesystem::temp_directory_path() / "varnix-bench-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("no temporary directory");
    m_directory = name;
    ::setenv("sys_uflash_prod_db_dev", (m_directory / "production.db").c_str(), 1);
    ::unsetenv("sys_uflash_prod_db_dev_dev");
    ::setenv("VARNIX_ITC_DIR", (m_directory / "itc").c_str(), 1);
    std::filesystem::create_directory(m_directory / "itc");
    std::filesystem::permissions(m_directory / "itc", std::filesystem::perms::owner_all);
}

Node::~Node()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
}

void Node::writeProduction(const std::vector<Parameters>& parameters) const
{
    DbFile::Database database;
    database.records.push_back(
        {.key = "/componentConfigId", .type = DbFile::charType, .data = identity});
    for (const Parameters& some : parameters)
        append(database, some);
    writeFile(m_directory / "production.db", DbFile::encode(database));
}

std::string Node::writeDatabase(const std::string& name, const Parameters& parameters) const
{
    DbFile::Database database;
    append(database, parameters);
    const std::filesystem::path path = m_directory / name;
    writeFile(path, DbFile::encode(database));
    return path;
}

std::string Node::writeConfig(const std::string& name, const std::vector<std::string>& files) const
{
    std::string list;
    for (const std::string& file : files)
        list += (list.empty() ? "\"" : ", \"") + file + '"';
    const std::filesystem::path path = m_directory / name;
    writeFile(path, "varnix = { component_versions = ( { component_id = \"bench-unit\"; "
                    "revision = \"R1\"; file_paths = [ " +
                        list + " ]; } ); };\n");
    return path;
}

} // namespace Varnix::Bench
