// Side by side: what the plug-in takes, beside floors that do only what cannot
// be avoided, measured in turns so that all of them see the same machine.
#ifndef SIDE_BY_SIDE_H
#define SIDE_BY_SIDE_H

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

namespace bench {

// One of those that are compared. The first of them is the plug-in.
struct Contender {
    std::string name;
    std::function<double()> run;         // returns the seconds that count
    std::function<void()> clean = [] {}; // after each run, not counted
    double target = 0;                   // for "plug-in's time / this one's"; 0: none
};

// Calls `work` and returns the seconds that passed.
double seconds(const std::function<void()> &work);
// The same in seconds of the calling thread's processor time, which other
// programs on the machine disturb less: for work that waits for nothing.
double thread_seconds(const std::function<void()> &work);

// Runs all contenders in every iteration, each time another one first. Reports
// for each the median time of one of the `units` that a run consists of as the
// counter NAME, in seconds, and for all but the first the plug-in's time
// divided by it as NAME_ratio, with the target as NAME_target.
void side_by_side(benchmark::State &state, const std::vector<Contender> &contenders, double units);

double median(std::vector<double> numbers);

} // namespace bench

#endif
