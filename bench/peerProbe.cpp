#include "bench/peers.h"
#include "bench/probe.h"

#include <algorithm>
#include <cstdio>
#include <string>

// A process that loads a peer's file once.

int main(int argc, char** argv)
{
    using namespace Varnix::Bench;

    const auto* const peer = std::find_if(std::begin(peers), std::end(peers), [&](const Peer* p) {
        return argc == 3 && std::string(argv[1]) == p->name;
    });
    if (peer == std::end(peers)) {
        std::fputs("usage: peer_probe PEER FILE\n", stderr);
        return 2;
    }
    report(0, [&] { return (*peer)->load(argv[2]); });
    return 0;
}
