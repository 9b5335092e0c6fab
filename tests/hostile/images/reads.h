#ifndef VARNIX_TESTS_HOSTILE_READS_H
#define VARNIX_TESTS_HOSTILE_READS_H

/** What the client and the model of what it prints have to agree on. */
namespace Varnix::Test::ImageReads {

inline constexpr const char* config = "node.cfg";
inline constexpr const char* keysFile = "keys"; ///< each key ends with a NUL
inline constexpr const char* readsFile = "reads";

/** What the outputs of a read hold before it. */
inline constexpr const char* textBefore = "before";
inline constexpr int numberBefore = 7;

inline constexpr const char* noDatabase = "no database\n";

} // namespace Varnix::Test::ImageReads

#endif
