#ifndef VARNIX_RECORDING_PROGRAM_H
#define VARNIX_RECORDING_PROGRAM_H

#include <string>
#include <vector>

namespace Varnix::Recording {

/**
 * Runs a program of LTTng's to its end and returns what it wrote to standard output. It has no
 * descriptor, no blocked signal and no process group of this process. Throws Failure where it is
 * not installed or its status is not 0.
 */
std::string outputOf(const std::vector<std::string>& words);

} // namespace Varnix::Recording

#endif
