// Measures the memory of the plug-in: its reply buffer before the first reply, and a
// query without the output values.
#include "bgp_plugin.h"
#include "observed_calls.h"
#include "recording_daemon.h"
#include "replies.h"
#include "scripted_sysrepo.h"
#include "side_by_side.h"

#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <numeric>
#include <stdexcept>
#include <vector>

extern "C" char buf[BUF_SIZE_MAX]; // the transport's

namespace {

constexpr std::size_t limit = 64 * 1024;

void report(benchmark::State &state, std::size_t bytes) {
    state.counters["bytes"] = static_cast<double>(bytes);
    if (bytes >= limit) {
        state.SkipWithError("it takes 64 KiB or more");
    }
}

// The number of resident bytes in those pages that belong to the buffer as a whole.
std::size_t resident_bytes() {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const auto address = reinterpret_cast<std::uintptr_t>(buf);
    char *first = buf + (page - address % page) % page;
    const std::size_t pages = static_cast<std::size_t>(buf + sizeof buf - first) / page;
    std::vector<unsigned char> resident(pages);
    if (mincore(first, pages * page, resident.data()) != 0) {
        throw std::runtime_error("mincore");
    }
    const auto in_memory = [](unsigned char flags) { return (flags & 1U) != 0; };
    return page *
           static_cast<std::size_t>(std::count_if(resident.begin(), resident.end(), in_memory));
}

void reply_buffer(benchmark::State &state) {
    while (state.KeepRunning()) {
        report(state, resident_bytes());
    }
}

// Runs `work` in a thread and returns how many bytes of its stack were written.
std::size_t stack_used(std::function<void()> work) {
    constexpr std::size_t size = 1 << 20;
    constexpr int paint = 0xa5;
    void *stack = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    std::memset(stack, paint, size);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, stack, size);
    pthread_t thread{};
    const auto start = [](void *function) -> void * {
        (*static_cast<std::function<void()> *>(function))();
        return nullptr;
    };
    if (pthread_create(&thread, &attributes, start, &work) != 0) {
        throw std::runtime_error("pthread_create");
    }
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    const auto *bottom = static_cast<unsigned char *>(stack);
    const auto *touched =
        std::find_if(bottom, bottom + size, [](unsigned char byte) { return byte != paint; });
    const auto untouched = static_cast<std::size_t>(touched - bottom);
    munmap(stack, size);
    return size - untouched;
}

// The copies in the output values, with their terminators; frees them.
std::size_t take_copies(sr_val_t *values, std::size_t count) {
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < count; ++i) {
        bytes += std::strlen(values[i].xpath) + 1;
        if (values[i].type == SR_STRING_T) {
            bytes += std::strlen(values[i].data.string_val) + 1;
            std::free(values[i].data.string_val);
        }
        std::free(values[i].xpath);
    }
    std::free(values);
    return bytes;
}

// Counts all allocated bytes, freed or not.
void query(benchmark::State &state) {
    support::RecordingDaemon daemon;
    daemon.answer_otherwise(configd::Reply{MODULE_ID_BGP, BGP_SUB_RPC_IP_BGP_SUMMARY, 0,
                                           bench::reply_kinds().front().payload(1000)});
    while (state.KeepRunning()) {
        sr_val_t *values = nullptr;
        std::size_t count = 0;
        std::size_t allocated = 0;
        const std::size_t stack = stack_used([&] {
            support::ObservedCalls observed;
            ip_bgp_summary_cb(scripted::session(), "/orv_bgp:ip-bgp-summary", nullptr, 0, SR_EV_RPC,
                              1, &values, &count, nullptr);
            observed.end();
            const std::vector<std::size_t> sizes = observed.sizes("malloc");
            allocated = std::accumulate(sizes.begin(), sizes.end(), std::size_t{0});
        });
        if (count == 0) {
            state.SkipWithError("the query has failed");
            return;
        }
        report(state, allocated - take_copies(values, count) + stack);
    }
}

// The order matters: the buffer must be measured before the first reply.
BENCHMARK(reply_buffer)->Name("memory/the reply buffer before the first reply")->Iterations(1);
BENCHMARK(query)->Name("memory/a query beside its output values")->Iterations(1);

} // namespace
