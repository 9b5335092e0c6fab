#ifndef VARNIX_RECORDING_FAILURE_H
#define VARNIX_RECORDING_FAILURE_H

#include <stdexcept>
#include <string>

namespace Varnix::Recording {

/** Nothing can be recorded or read here; the text says why. */
class Failure : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/** This user has no place for recordings; the text says what to do. Nothing is to be installed. */
class NoPlace : public Failure
{
public:
    using Failure::Failure;
};

inline void require(bool done, const char* what)
{
    if (!done)
        throw Failure(std::string(what) + " failed");
}

} // namespace Varnix::Recording

#endif
