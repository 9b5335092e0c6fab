#include "rootedPath.h"

#include "command.h"
#include "dbfile/shown.h"

#include <climits>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

namespace Varnix::Tool {

namespace {

namespace fs = std::filesystem;

constexpr int maxLinks = 40; // the kernel's own limit

/** Puts the path's names on the stack, the first on top. */
void push(std::vector<fs::path>& stack, const fs::path& path)
{
    const std::vector<fs::path> names(path.begin(), path.end());
    stack.insert(stack.end(), names.rbegin(), names.rend());
}

fs::path joined(const std::string& root, const std::vector<fs::path>& names)
{
    fs::path path = root;
    for (const fs::path& name : names)
        path /= name;
    return path;
}

} // namespace

std::string pathBelow(const std::string& root, const std::string& path)
{
    if (path.empty() || path.size() >= PATH_MAX) // which the kernel refuses
        return root + '/' + path;
    std::vector<fs::path> left;
    std::vector<fs::path> reached;
    push(left, path);
    for (int links = 0; !left.empty();) {
        const fs::path name = std::move(left.back());
        left.pop_back();
        if (name == "..") {
            if (!reached.empty())
                reached.pop_back();
            continue;
        }
        if (name.empty() || name == "." || name.is_absolute())
            continue;
        reached.push_back(name);
        std::error_code error;
        const fs::path target = fs::read_symlink(joined(root, reached), error);
        if (error)
            continue;
        if (++links > maxLinks)
            throw Failure(Status::UNREADABLE, "varnix: cannot open " + DbFile::shown(path) +
                                                  " below " + DbFile::shown(root) +
                                                  ": too many symbolic links");
        reached.pop_back();
        if (target.is_absolute())
            reached.clear();
        push(left, target);
    }
    return joined(root, reached).string();
}

} // namespace Varnix::Tool
