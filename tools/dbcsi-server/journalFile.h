#ifndef VARNIX_DBCSI_SERVER_JOURNALFILE_H
#define VARNIX_DBCSI_SERVER_JOURNALFILE_H

#include "fileDescriptor.h"

#include <stdexcept>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace Dbcsi {

/** The journal cannot be opened, read or written. */
class JournalError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/** A file that only grows, and holds nothing by halves. Throws JournalError. */
class JournalFile
{
public:
    /** Opens it, made where it is missing, for one process alone. */
    explicit JournalFile(const std::string& path);

    const std::string& path() const noexcept { return m_path; }
    /** All that it holds; nothing where it is a device or a pipe. */
    std::string content() const;
    off_t size() const noexcept { return m_size; }

    /** Adds the whole text, which begins a line, or leaves the file as it was. */
    void append(const std::string& text);
    /**
     * Ends the last line with this text, now or, where that fails, before whatever is added next:
     * what it is about has been done. Then, and without memory, it says so on standard error.
     */
    void endLine(const std::string& text) noexcept;
    /** Has what was added reach the disk. */
    void sync() const;
    /**
     * Takes back what is past `size`, where a line begins; where that fails, the next append does
     * it first.
     */
    void cutTo(off_t size) noexcept;

private:
    void add(const std::string& text);
    void writeAll(std::string_view text) const;
    [[noreturn]] void fail(const char* what) const;

    const std::string m_path;
    FileDescriptor m_fd;
    bool m_regular = false; ///< otherwise nothing can be read or taken back
    bool m_torn = false;    ///< there may be something past m_size
    off_t m_size = 0;
    bool m_open = false; ///< the last line has no end yet
    std::string m_owed;  ///< that end, where it could not be written
};

} // namespace Dbcsi

#endif
