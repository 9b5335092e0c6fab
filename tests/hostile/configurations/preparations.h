#ifndef VARNIX_TESTS_HOSTILE_PREPARATIONS_H
#define VARNIX_TESTS_HOSTILE_PREPARATIONS_H

#include <string>

namespace Varnix::Test {

/** What the cases write into the working directory; the configuration's name there. */
inline constexpr const char* config = "node.cfg";

/** An entry that selects good.db, which has the parameter. */
inline const std::string entry =
    "{ component_id = \"a\"; revision = \"1\"; file_paths = [ \"good.db\" ]; }";

std::string listOf(const std::string& entries);

inline const std::string good = listOf(entry);

std::string repeated(const std::string& text, int times);
void asText(const std::string& text);
/** What makes something that is no file, at the path. */
void makeSpecial(const std::string& path, const std::string& kind);
void asSpecial(const std::string& kind);
/** The configuration includes it, in front of a good entry. */
void included(const std::string& path);
void includedSpecial(const std::string& kind);
/** The list includes a file of this content. */
void includedText(const std::string& text);
/** As many files, each of which includes the next. */
void chain(const std::string& count);
/** Ten levels of files, each of which includes the next so many times. */
void tree(const std::string& branches);
/** A comment, and then nothing but null bytes, without room on the disk. */
void sparse(const std::string& name);
void manySettings(const std::string& count);
void manyEntries(const std::string& count);
/** The one selected file. */
void selected(const std::string& path);
void selectedSpecial(const std::string& kind);
std::string withPattern(const std::string& componentId);

} // namespace Varnix::Test

#endif
