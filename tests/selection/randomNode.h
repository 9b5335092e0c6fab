#ifndef VARNIX_TESTS_SELECTION_RANDOMNODE_H
#define VARNIX_TESTS_SELECTION_RANDOMNODE_H

#include "tests/support/nodeDirectory.h"

#include <random>
#include <string>
#include <vector>

namespace Varnix::Test {

using Random = std::mt19937;

/** A number from 0 to `limit` - 1. */
std::size_t below(Random& random, std::size_t limit);

/** Words of few and short letters, so that patterns often match them. */
std::vector<std::string> randomIdentities(Random& random);

/** Entries with every kind of pattern element, and few paths, so that they often repeat. */
std::vector<ConfigEntry> randomEntries(Random& random, const std::vector<std::string>& paths);

} // namespace Varnix::Test

#endif
