#ifndef VARNIX_TESTS_HOSTILE_CASES_H
#define VARNIX_TESTS_HOSTILE_CASES_H

#include <string>
#include <vector>

namespace Varnix::Test {

/** What a client gets. */
enum class Outcome
{
    VALUE,
    NO_VALUE,
    /** The text is not valid; `varnix explain` has status 4. */
    INVALID,
    /** There is no configuration, or none of the files that it selects; status 5. */
    UNUSABLE
};

/** A configuration, or what is in its place, prepared in the working directory as node.cfg. */
struct HostileConfiguration
{
    std::string name;
    Outcome outcome;
    /** What `varnix explain` says about it, or a part of it. */
    std::string words;
    void (*prepare)(const std::string& argument);
    std::string argument = {};
};

/** Lets a failed case show its name. */
std::ostream& operator<<(std::ostream& stream, const HostileConfiguration& configuration);

const std::vector<HostileConfiguration>& hostileConfigurations();

} // namespace Varnix::Test

#endif
