#ifndef VARNIX_TESTS_HOSTILE_NODE_H
#define VARNIX_TESTS_HOSTILE_NODE_H

#include "images.h"
#include "model.h"

#include <filesystem>
#include <string>
#include <vector>

namespace Varnix::Test {

enum class Role
{
    COMPONENT,
    PRODUCTION
};

/** A node of which one of two databases is hostile, and what its rules give a client. */
class HostileNode
{
public:
    /** Writes the node's files into a directory of its own below `parent`. */
    HostileNode(const std::filesystem::path& parent, const HostileImage& image, Role role);

    const std::string& directory() const noexcept { return m_directory; }
    const std::vector<std::string>& keys() const noexcept { return m_keys; }

    /** The library waits for the rest of the production database; nothing else is promised. */
    bool isAwaited() const noexcept { return m_role == Role::PRODUCTION && m_verdict.isAwaited; }

    bool hasDatabase() const;

    /** What a client gets, null without one: the production database is asked first. */
    const ImageModel::Value* valueOf(const std::string& key) const;

    /** The text that the client writes. */
    std::string expectedReads() const;

    /** The status of `varnix get` and `explain` for all keys. */
    int expectedStatus() const;

private:
    const ImageModel::Values& production() const;
    bool hasIdentityOfTheComponent() const;

    std::string m_directory;
    Role m_role;
    ImageModel::Verdict m_verdict;
    std::vector<std::string> m_keys;
};

} // namespace Varnix::Test

#endif
