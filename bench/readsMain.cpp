#include "bench/peers.h"
#include "bench/reads.h"
#include "bench/report.h"

int main(int argc, char** argv)
{
    using namespace Varnix::Bench;

    const Node node;
    addFloor();
    addVarnix(node);
    for (const Peer* const peer : peers)
        peer->addReads(node);
    return runBenchmarks(argc, argv);
}
