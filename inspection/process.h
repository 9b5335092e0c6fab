#ifndef VARNIX_INSPECTION_PROCESS_H
#define VARNIX_INSPECTION_PROCESS_H

#include "inspection/memory.h"
#include "inspection/parameterView.h"
#include "inspection/registryView.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Varnix::Inspection {

/** Tells whether a process has ended, whoever has its id by then. */
class ProcessDescriptor
{
public:
    explicit ProcessDescriptor(pid_t id);
    ~ProcessDescriptor();
    ProcessDescriptor(const ProcessDescriptor&) = delete;
    ProcessDescriptor& operator=(const ProcessDescriptor&) = delete;

    bool hasEnded() const noexcept;

private:
    int m_descriptor;
};

/**
 * A running process that uses the library.
 *
 *     const Process process(1234);
 *     for (const StoreView& store : process.registry().stores)
 *         process.parameters(store, {{"/unit/gain"}});
 *
 * Looking neither stops nor changes the process. What is returned is never of another process that
 * took over the id. Every member throws NotInspected when the process cannot be looked at.
 */
class Process
{
public:
    explicit Process(pid_t id);

    pid_t id() const noexcept { return m_id; }

    /** The name that the kernel has for it; any bytes. */
    std::string command() const;

    RegistryView registry() const;

    /** As readParameters. */
    std::optional<std::vector<ParameterView>>
    parameters(const StoreView& store, std::span<const std::string> keys = {}) const;
    std::optional<std::vector<ParameterView>> parameters(const StoreView& store,
                                                         std::vector<ParameterPlace> places) const;

    /** As findParameters. */
    std::optional<std::vector<ParameterPlace>> find(const StoreView& store,
                                                    std::span<const std::string> keys) const;

private:
    void requireAlive() const;

    pid_t m_id;
    ProcessDescriptor m_descriptor;
    ProcessMemory m_memory;
    Address m_root = 0;
};

/** Whether /proc shows what ids name here: it may be missing, or of another id namespace. */
bool isProcMounted() noexcept;

/** The ids of the host's processes, ascending. */
std::vector<pid_t> processIds();

} // namespace Varnix::Inspection

#endif
