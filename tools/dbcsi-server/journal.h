#ifndef VARNIX_DBCSI_SERVER_JOURNAL_H
#define VARNIX_DBCSI_SERVER_JOURNAL_H

#include "history.h"
#include "journalFile.h"
#include "journalText.h"
#include "processInfo.h"
#include "words.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Dbcsi {

/**
 * A file of all writes, each as a line that the server itself reads, with comments that say who had
 * it: see journalText.h.
 *
 * A write is in the file, and on the disk, before it is sent, and so is who it will be sent to; the
 * comment's line ends when it has been sent. So a server that ends at any moment leaves a file that
 * tells which writes a process has had. Only where it ends within the sending itself that is not
 * known: the next server takes the write for had, since a process must not have one twice, and says
 * so.
 */
class Journal
{
public:
    /**
     * Opens the file, made where it is missing, and reads it. What a crash left incomplete is said
     * on standard error and removed. Throws JournalError, also where another server has it open.
     */
    explicit Journal(const std::string& path);

    /** Before a write is sent. Throws JournalError, and leaves the file as it was. */
    void begin(const Words& words, const std::vector<ProcessInfo>& to);
    /** After it: who could not be sent it after all. */
    void end(const std::vector<ProcessId>& except);

    /** The writes that a process has not had, in order. */
    std::vector<Words> missing(const ProcessId& process) const;
    /** Before a process is sent the first `count` of those. Throws JournalError. */
    void beginReplay(const ProcessInfo& to, std::size_t count);
    /** After it: how many of them it was sent. */
    void endReplay(std::size_t count);

private:
    void read(const std::string& content);
    void readLine(std::string_view line, std::size_t number);
    void readWrite(std::string_view line, std::size_t number);
    void readComment(const JournalText::Comment& comment);
    void readLastLine(std::string_view line, std::size_t number);
    void warn(std::size_t number, std::size_t column, const std::string& text) const;
    std::string bootLine() const;

    JournalFile m_file;
    const std::string m_user;
    const std::string m_boot;
    std::string m_bootOf; ///< what the last comment about it names
    History m_history;
    bool m_afterWrite = false; ///< a comment that is read next is about the last write

    /* Between a begin and its end. */
    std::vector<ProcessInfo> m_receivers;
    std::size_t m_count = 0;
};

} // namespace Dbcsi

#endif
