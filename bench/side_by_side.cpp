#include "side_by_side.h"

#include <time.h>

#include <algorithm>
#include <cstddef>

namespace bench {

namespace {

double now(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

double seconds_on(clockid_t clock, const std::function<void()> &work) {
    const double start = now(clock);
    work();
    return now(clock) - start;
}

} // namespace

double seconds(const std::function<void()> &work) {
    return seconds_on(CLOCK_MONOTONIC, work);
}

double thread_seconds(const std::function<void()> &work) {
    return seconds_on(CLOCK_THREAD_CPUTIME_ID, work);
}

double median(std::vector<double> numbers) {
    const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
    std::nth_element(numbers.begin(), middle, numbers.end());
    return *middle;
}

void side_by_side(benchmark::State &state, const std::vector<Contender> &contenders, double units) {
    // Once before measuring, to allocate memory and open connections.
    for (const Contender &contender : contenders) {
        contender.run();
        contender.clean();
    }
    std::vector<std::vector<double>> taken(contenders.size());
    std::size_t first = 0;
    while (state.KeepRunning()) {
        double together = 0;
        for (std::size_t i = 0; i < contenders.size(); ++i) {
            const std::size_t turn = (first + i) % contenders.size();
            taken[turn].push_back(contenders[turn].run() / units);
            together += taken[turn].back() * units;
            contenders[turn].clean();
        }
        ++first;
        state.SetIterationTime(together);
    }
    const double plugin = median(taken.front());
    for (std::size_t i = 0; i < contenders.size(); ++i) {
        const std::string &name = contenders[i].name;
        const double time = median(taken[i]);
        state.counters[name] = time;
        if (i > 0) {
            state.counters[name + "_ratio"] = plugin / time;
            state.counters[name + "_target"] = contenders[i].target;
        }
    }
}

} // namespace bench
