/**
 * Feeds files to a fuzz target: seeds and past findings, in every build and without a fuzzer.
 *
 *     fuzz_TARGET FILE_OR_DIRECTORY...
 *
 * A directory may be missing: a target without past findings has none for them.
 */
#include "target.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <span>
#include <string_view>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> filesOf(const fs::path& path)
{
    if (!fs::exists(path))
        return {};
    if (!fs::is_directory(path))
        return {path};
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(path))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

void replay(const fs::path& path)
{
    std::cout << path.native() << std::endl; // before it runs, so that the one that fails is named
    std::ifstream file;
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.open(path, std::ios::binary);
    // In a block of exactly its size, so that a sanitizer sees every step beyond it.
    const std::vector<char> input{std::istreambuf_iterator<char>(file), {}};
    const std::vector<std::uint8_t> exact(input.begin(), input.end());
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

} // namespace

int main(int argc, char* argv[])
{
    std::size_t replayed = 0;
    for (const std::string_view path : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
        for (const fs::path& file : filesOf(path)) {
            replay(file);
            ++replayed;
        }
    }
    std::cout << replayed << " inputs replayed\n";
    return replayed != 0 ? 0 : 1;
}
