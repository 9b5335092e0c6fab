#include "bench/inner.h"
#include "bench/report.h"

int main(int argc, char** argv)
{
    using namespace Varnix::Bench;

    const Node node;
    node.writeProduction({});
    addChecksum();
    addInPlaceWrites(node);
    addTraceEvents();
    addWriterWaits(node);
    return runBenchmarks(argc, argv);
}
