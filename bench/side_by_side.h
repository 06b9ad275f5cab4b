// Side by side: measures the plug-in and floors that do only what cannot be avoided.
// They take turns, so that all meet the same conditions.
#ifndef SIDE_BY_SIDE_H
#define SIDE_BY_SIDE_H

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

namespace bench {

// A program part to compare. The first one is the plug-in.
struct Contender {
    std::string name;
    std::function<double()> run;         // returns the seconds that count
    std::function<void()> clean = [] {}; // after each run, not counted
    double target = 0;                   // for "plug-in's time / this one's"; 0: none
};

// Runs `work` and returns the seconds that passed.
double seconds(const std::function<void()> &work);
// The same in seconds of the calling thread's processor time, which other
// programs on the machine disturb less: for work that waits for nothing.
double thread_seconds(const std::function<void()> &work);

// Runs all contenders in every iteration, starting with another one each time. A run
// consists of `units`. Reports for each contender the median time of one unit in
// seconds as the counter NAME. For all except the first, reports the plug-in's time
// divided by it as NAME_ratio, and the target as NAME_target.
void side_by_side(benchmark::State &state, const std::vector<Contender> &contenders, double units);

double median(std::vector<double> numbers);

} // namespace bench

#endif
