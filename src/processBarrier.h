#ifndef VARNIX_PROCESSBARRIER_H
#define VARNIX_PROCESSBARRIER_H

/**
 * A memory barrier in every thread of the process, made by one of them: the kernel's membarrier.
 *
 * It lets what happens often do without: of a store and a later load in another thread, kept in
 * order by the compiler alone, either the load comes after pass() or the store is seen after it.
 */
namespace Varnix::Backend::ProcessBarrier {

/** Whether there are such barriers here; the answer never changes. */
bool isOffered() noexcept;

/**
 * Asks the kernel for them, once in a process. In a process of several threads this takes some
 * milliseconds, in one of a single thread microseconds.
 */
void prepare() noexcept;

/** The barrier; nothing where none is offered. Prepares if that was not done. */
void pass() noexcept;

} // namespace Varnix::Backend::ProcessBarrier

#endif
