#ifndef VARNIX_DBCSI_SERVER_HISTORY_H
#define VARNIX_DBCSI_SERVER_HISTORY_H

#include "processInfo.h"
#include "words.h"

#include <cstddef>
#include <map>
#include <vector>

namespace Dbcsi {

/** All writes so far, in order, and which of them each process has had. */
class History
{
public:
    void add(Words words) { m_writes.push_back(std::move(words)); }
    /** Which nobody has had. */
    void removeLast() { m_writes.pop_back(); }
    std::size_t size() const noexcept { return m_writes.size(); }
    const Words& at(std::size_t index) const { return m_writes.at(index); }

    /** Of a process that could be mistaken for another nothing is kept. */
    void had(const ProcessId& process, std::size_t index);
    /** It had the first `count` of those that it had not had before. */
    void hadFirstMissing(const ProcessId& process, std::size_t count);
    /** The processes of an earlier boot have ended. */
    void forgetProcesses() { m_had.clear(); }

    /** The indices of the writes that a process has not had. */
    std::vector<std::size_t> missing(const ProcessId& process) const;

private:
    /** The same, without what the process had through a mailbox that is not named. */
    std::vector<std::size_t> missingByName(const ProcessId& process) const;

    /** From the first index on, up to the second. */
    struct Range
    {
        std::size_t begin;
        std::size_t end;
    };

    std::vector<Words> m_writes;
    std::map<ProcessId, std::vector<Range>> m_had; ///< ordered, none touching the next
};

} // namespace Dbcsi

#endif
