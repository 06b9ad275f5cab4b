// Every benchmark program: its own network first, then the benchmarks.
#include "namespaces.h"

#include <benchmark/benchmark.h>

#include <malloc.h>

int main(int argc, char **argv) {
    // Freed memory stays with the process: how long the kernel takes to clear a
    // page for the first of several contenders is not to be seen.
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_TOP_PAD, 1 << 20);
    support::enter_namespaces();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
