#ifndef VARNIX_SCHEMA_CPPNAMES_H
#define VARNIX_SCHEMA_CPPNAMES_H

#include <string>
#include <string_view>

namespace Varnix::Schema {

/** The words of a text, each beginning with a capital but the first, as one identifier. */
std::string identifierOf(std::string_view text);

/** Whether C++17 or C++20 takes it as a name of a client's own. */
bool isIdentifier(std::string_view name);

/** A string literal of these bytes. */
std::string literalOf(std::string_view bytes);

/** Text that neither begins nor ends a comment. */
std::string inComment(std::string text);

} // namespace Varnix::Schema

#endif
