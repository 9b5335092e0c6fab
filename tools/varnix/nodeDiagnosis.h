#ifndef VARNIX_TOOL_NODEDIAGNOSIS_H
#define VARNIX_TOOL_NODEDIAGNOSIS_H

#include "explanation.h"

#include <string>

/** Why the library cannot give a database; it returns an empty pointer alone. */
namespace Varnix::Tool {

/**
 * Refuses what would keep the library from returning at all: a production database that ends
 * early, for whose rest the loader waits. Failure with NodeUnusable.
 */
void refuseEndlessNode();

/** Says what is wrong after initDb answered nothing for `config`: Failure as explain() fails. */
[[noreturn]] void refuseUnusableNode(const std::string& config);

/** Which selected file cannot be used; there is one. */
Failure whyUnusable(const Explanation& explanation);

} // namespace Varnix::Tool

#endif
