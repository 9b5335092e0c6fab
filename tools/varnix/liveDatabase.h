#ifndef VARNIX_TOOL_LIVEDATABASE_H
#define VARNIX_TOOL_LIVEDATABASE_H

#include "dbfile/store.h"
#include "inspection/process.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

/** What running processes hold, looked at from outside. */
namespace Varnix::Tool {

/** One database of a running process, with the production database before it, as a handle reads. */
class LiveDatabase
{
public:
    /**
     * The process's database of `config`; its only one without. Failure with NodeUnusable when the
     * process cannot be looked at, with WrongUsage when there is not exactly one such database.
     */
    explicit LiveDatabase(pid_t process, const std::optional<std::string>& config = std::nullopt);

    const std::string& config() const noexcept { return m_store.config; }
    const Inspection::Process& process() const noexcept { return m_process; }

    /** What a client gets now for those of `keys` that there are, for all without; Failure as
     * above.
     */
    std::map<std::string, DbFile::Value> values(const std::vector<std::string>& keys) const;

private:
    Inspection::Process m_process;
    Inspection::StoreView m_production{};
    Inspection::StoreView m_store{};
};

} // namespace Varnix::Tool

#endif
