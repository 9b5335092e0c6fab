// Loaded into a program by LD_PRELOAD: makes one of its calls fail as the environment says.
//
//     VARNIX_FAULT         "new" or a call of interpose.cpp
//     VARNIX_FAULT_FIRST   index of the first call that fails
//     VARNIX_FAULT_COUNT   how many fail
//     VARNIX_FAULT_ERROR   the error number, or 0 for transfers of one byte
//     VARNIX_FAULT_REPORT  a file that is made when a call has failed and the program ended by
//     itself

#include "callFailure.h"
#include "tests/support/allocationFailure.h"

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using namespace Varnix::Test;

std::size_t number(const char* name)
{
    const char* const text = std::getenv(name);
    return text != nullptr ? std::strtoul(text, nullptr, 10) : 0;
}

class Plan
{
public:
    void arm()
    {
        const char* const call = std::getenv("VARNIX_FAULT");
        const char* const report = std::getenv("VARNIX_FAULT_REPORT");
        if (call == nullptr || report == nullptr)
            return;
        m_report = report;
        const std::size_t first = number("VARNIX_FAULT_FIRST");
        const std::size_t count = number("VARNIX_FAULT_COUNT");
        const auto error = static_cast<int>(number("VARNIX_FAULT_ERROR"));
        if (std::string(call) == "new")
            m_allocations.emplace(Allocation::ANY, first, count, AllocationScope::PROCESS);
        else
            m_calls.emplace(call, error != 0 ? CallEffect::failing(error) : CallEffect::atMost(1),
                            first, count, CallFailure::Scope::PROCESS);
    }
    ~Plan() { disarm(); }

    void disarm()
    {
        const bool struck =
            (m_allocations && m_allocations->struck()) || (m_calls && m_calls->struck());
        m_allocations.reset();
        m_calls.reset();
        if (struck)
            ::syscall(SYS_close,
                      ::syscall(SYS_openat, AT_FDCWD, m_report, O_CREAT | O_WRONLY, 0600));
    }
    Plan() = default;
    Plan(const Plan&) = delete;
    Plan& operator=(const Plan&) = delete;

private:
    const char* m_report = nullptr;
    std::optional<AllocationFailure> m_allocations;
    std::optional<CallFailure> m_calls;
};

Plan plan;

using Main = int (*)(int, char**, char**);
Main programMain = nullptr;

/** What is made before main, by other libraries' static objects, is left out. */
int armedMain(int argc, char** argv, char** environment)
{
    plan.arm();
    return programMain(argc, argv, environment);
}

} // namespace

/** For a program that ends at once. */
extern "C" __attribute__((visibility("default"))) void _Exit(int status) noexcept
{
    plan.disarm();
    ::syscall(SYS_exit_group, status);
    __builtin_unreachable();
}

extern "C" __attribute__((visibility("default"))) int
__libc_start_main(Main main, int argc, char** argv, void (*init)(), void (*fini)(),
                  void (*loaderFini)(), void* stackEnd)
{
    programMain = main;
    auto* const real =
        reinterpret_cast<decltype(&__libc_start_main)>(::dlsym(RTLD_NEXT, "__libc_start_main"));
    return real(armedMain, argc, argv, init, fini, loaderFini, stackEnd);
}
