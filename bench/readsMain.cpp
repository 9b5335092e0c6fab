#include "bench/reads.h"
#include "bench/report.h"

int main(int argc, char** argv)
{
    using namespace Varnix::Bench;

    const Node node;
    addFloor();
    addVarnix(node);
    addLmdb(node);
    addTinyCdb(node);
    addSqlite(node);
    addLibconfig(node);
    addKeyFile(node);
    return runBenchmarks(argc, argv);
}
