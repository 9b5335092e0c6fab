#ifndef VARNIX_TESTS_MUTATION_MUTATED_H
#define VARNIX_TESTS_MUTATION_MUTATED_H

#include <type_traits>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

/** The mutant that is awake in this process, and where it is noted which ones were asked for. */
namespace MutantSwitches {

inline const int awake = [] {
    const char* const number = ::getenv("VARNIX_MUTANT");
    return number != nullptr ? ::atoi(number) : 0;
}();

inline char* const seen = []() -> char* {
    const char* const path = ::getenv("VARNIX_MUTANTS_SEEN");
    const int fd = path != nullptr ? ::open(path, O_RDWR | O_CLOEXEC) : -1;
    if (fd < 0)
        return nullptr;
    const off_t size = ::lseek(fd, 0, SEEK_END);
    void* const map =
        ::mmap(nullptr, static_cast<size_t>(size), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    ::close(fd);
    return map == MAP_FAILED ? nullptr : static_cast<char*>(map);
}();

inline bool ask(int number) noexcept
{
    if (seen != nullptr)
        seen[number] = 1;
    return awake == number;
}

} // namespace MutantSwitches

/** Whether a mutant is awake; what the compiler computes has none. */
constexpr bool mutated(int number) noexcept
{
    return std::is_constant_evaluated() ? false : MutantSwitches::ask(number);
}

#endif
