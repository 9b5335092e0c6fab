#ifndef VARNIX_TOOL_NODEDIAGNOSIS_H
#define VARNIX_TOOL_NODEDIAGNOSIS_H

#include <string>

/** Why the library cannot give a database; it answers with an empty pointer alone. */
namespace Varnix::Tool {

/**
 * Refuses what would keep the library from answering at all: a production database that ends
 * early, for whose rest the loader waits, and a configuration that has no end. Failure with
 * NodeUnusable.
 */
void refuseEndlessNode(const std::string& config);

/** Says what is wrong after initDb answered nothing for `config`: Failure as explain() fails. */
[[noreturn]] void refuseUnusableNode(const std::string& config);

} // namespace Varnix::Tool

#endif
