#ifndef VARNIX_TESTS_HOSTILE_PLATFORM_CONVERSATION_H
#define VARNIX_TESTS_HOSTILE_PLATFORM_CONVERSATION_H

/** What must work, or be refused with a reason, in whatever state a host is. */

#include "tests/platform/itcSupport.h"

#include <cstdint>
#include <functional>
#include <string>

namespace HostileTest {

using Step = std::function<void()>;

inline constexpr std::uint32_t located = 1;
inline constexpr std::uint32_t hello = 2;
inline constexpr std::uint32_t written = 3;
inline constexpr std::uint32_t gone = 4;

/** A client's first steps: its mailbox, and the question for its server. */
void beginClient();
/** The rest: it finds the server, is sent what it asked for, and learns of the server's end. */
void finishClient();
/** A server that serves one client and ends. */
void serve();
/** What is to be sent to the next who asks, as the server that is named. */
void serveAs(const std::string& name);

/** A client that begins before its server; each process first does a step of its own. */
void converse(const Step& beforeClient, const Step& beforeServer);

/** Expects a mailbox of that name to be refused, with a reason that holds `words`. */
void expectRefused(const std::string& name, const std::string& words);

} // namespace HostileTest

#endif
