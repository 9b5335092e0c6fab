#include "preparations.h"

#include "tests/support/dbBuilder.h"

#include <filesystem>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace Varnix::Test {

namespace fs = std::filesystem;
using namespace std::string_literals;

std::string listOf(const std::string& entries)
{
    return "varnix = { component_versions = (\n" + entries + "\n); };\n";
}

std::string repeated(const std::string& text, int times)
{
    std::string result;
    for (int i = 0; i < times; ++i)
        result += text;
    return result;
}

void asText(const std::string& text)
{
    writeFile(config, text);
}

void makeSpecial(const std::string& path, const std::string& kind)
{
    if (kind == "pipe") {
        ::mkfifo(path.c_str(), 0600);
    } else if (kind == "socket") {
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        const int end = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        ::bind(end, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        ::close(end);
    } else if (kind == "directory") {
        fs::create_directory(path);
    } else if (kind == "loop") {
        fs::create_symlink(path, path);
    } else {
        fs::create_symlink(kind, path);
    }
}

void asSpecial(const std::string& kind)
{
    makeSpecial(config, kind);
}

void included(const std::string& path)
{
    asText("@include \"" + path + "\"\n" + good);
}

void includedSpecial(const std::string& kind)
{
    makeSpecial("part", kind);
    included("part");
}

void includedText(const std::string& text)
{
    writeFile("part", text);
    asText(listOf("@include \"part\"\n"));
}

void chain(const std::string& count)
{
    const int files = std::stoi(count);
    for (int i = 1; i < files; ++i)
        writeFile("part" + std::to_string(i), "@include \"part" + std::to_string(i + 1) + "\"\n");
    writeFile("part" + count, good);
    asText("@include \"part1\"\n");
}

void tree(const std::string& branches)
{
    for (int i = 1; i < 10; ++i)
        writeFile(
            "part" + std::to_string(i),
            repeated("@include \"part" + std::to_string(i + 1) + "\"\n", std::stoi(branches)));
    writeFile("part10", "");
    asText("@include \"part1\"\n" + good);
}

void sparse(const std::string& name)
{
    writeFile(name, "/*");
    fs::resize_file(name, std::uintmax_t{1} << 40);
    if (name != config)
        included(name);
}

void manySettings(const std::string& count)
{
    std::string text;
    for (int i = 0; i < std::stoi(count); ++i)
        text += "a" + std::to_string(i) + "=1;";
    asText(text + good);
}

void manyEntries(const std::string& count)
{
    asText(listOf(repeated(entry + ",\n", std::stoi(count) - 1) + entry));
}

void selected(const std::string& path)
{
    asText(
        listOf("{ component_id = \"a\"; revision = \"1\"; file_paths = [ \"" + path + "\" ]; }"));
}

void selectedSpecial(const std::string& kind)
{
    makeSpecial("part", kind);
    selected("part");
}

std::string withPattern(const std::string& componentId)
{
    return listOf("{ component_id = \"" + componentId +
                  "\"; revision = \"1\"; file_paths = [ \"good.db\" ]; }");
}

} // namespace Varnix::Test
