// The main function of every benchmark program: enters its own network, then runs the benchmarks.
#include "namespaces.h"

#include <benchmark/benchmark.h>

#include <malloc.h>

int main(int argc, char **argv) {
    // The process keeps freed memory: otherwise the first contender would include the
    // time in which the kernel clears a page.
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
