#ifndef VARNIX_TESTS_FAULTS_INTERPOSE_H
#define VARNIX_TESTS_FAULTS_INTERPOSE_H

#include "callFailure.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <type_traits>

#include <dlfcn.h>
#include <sys/types.h>

/** What stands in for functions of the C library: each asks first whether its call is to fail. */
namespace Varnix::Test {

template <typename Function>
Function* realOf(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

inline bool fails(const CallEffect& effect)
{
    if (effect.signal != 0)
        ::raise(effect.signal);
    if (effect.error != 0)
        errno = effect.error;
    return effect.error != 0;
}

template <typename Result>
constexpr Result failure()
{
    if constexpr (std::is_pointer_v<Result>)
        return nullptr;
    else
        return Result{-1};
}

/** Calls the real function unless the call is to fail; `call` is how tests name it. */
template <typename Result, typename... Arguments>
Result pass(const char* call, Result (*real)(Arguments...), Arguments... arguments)
{
    return fails(CallFailure::next(call)) ? failure<Result>() : real(arguments...);
}

/** The same for what transfers `size` bytes: perhaps fewer. */
template <typename Transfer>
ssize_t transfer(const char* call, std::size_t size, const Transfer& real)
{
    const CallEffect effect = CallFailure::next(call);
    return fails(effect) ? -1 : real(std::min(size, effect.limit));
}

} // namespace Varnix::Test

#endif
