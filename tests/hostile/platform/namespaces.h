#ifndef VARNIX_TESTS_HOSTILE_PLATFORM_NAMESPACES_H
#define VARNIX_TESTS_HOSTILE_PLATFORM_NAMESPACES_H

namespace HostileTest {

/** Gives the process mounts of its own; false, and says so, where the host does not permit it. */
bool enterMountNamespace();
/** The next child is process 1 of a namespace of its own. */
bool enterPidNamespace();
/** Hides /proc from the process, which has mounts of its own. */
bool hideProc();
/** Gives process 1 of a namespace a /proc of its own. */
bool mountProc();

} // namespace HostileTest

#endif
