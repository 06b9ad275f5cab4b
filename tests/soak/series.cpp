#include "series.h"

#include "process.h"

#include <fmt/format.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <utility>
#include <vector>

namespace soak {

namespace {

struct Close {
    void operator()(std::FILE *file) const { std::fclose(file); }
};

} // namespace

EditTimes edit_times(std::vector<double> milliseconds) {
    if (milliseconds.empty()) {
        return {};
    }
    std::sort(milliseconds.begin(), milliseconds.end());
    const auto at = [&](std::size_t percent) {
        return milliseconds[(milliseconds.size() - 1) * percent / 100];
    };
    return {at(50), at(99), milliseconds.back()};
}

void Series::add(double seconds, const Use &host, const Use &daemon, std::size_t run) {
    samples_.push_back({seconds, run, host, daemon, edit_times(times_)});
    all_times_.insert(all_times_.end(), times_.begin(), times_.end());
    times_.clear();
}

EditTimes Series::all_edits() const {
    std::vector<double> all = all_times_;
    all.insert(all.end(), times_.begin(), times_.end());
    return edit_times(std::move(all));
}

// The line with the least squared distances to the points, with a height of its own for each run.
double Series::growth(Use Sample::*process) const {
    double products = 0;
    double squares = 0;
    std::map<std::size_t, std::vector<std::pair<double, double>>> runs; // points: hours, KiB
    for (const Sample &sample : samples_) {
        runs[sample.run].emplace_back(sample.seconds / 3600,
                                      static_cast<double>((sample.*process).memory));
    }
    runs.erase(0); // not warm
    for (const auto &[run, points] : runs) {
        const auto mean = [&points = points](double std::pair<double, double>::*value) {
            return std::accumulate(
                       points.begin(), points.end(), 0.0,
                       [&](double sum, const auto &point) { return sum + point.*value; }) /
                   static_cast<double>(points.size());
        };
        const double hour = mean(&std::pair<double, double>::first);
        const double memory = mean(&std::pair<double, double>::second);
        for (const auto &point : points) {
            products += (point.first - hour) * (point.second - memory);
            squares += (point.first - hour) * (point.first - hour);
        }
    }
    return squares > 0 ? products / squares : 0;
}

std::string Series::picture() const {
    const std::unique_ptr<std::FILE, Close> data{std::tmpfile()};
    if (data == nullptr) {
        throw std::runtime_error("no temporary file for the picture's data");
    }
    for (const auto &[seconds, run, host, daemon, edits] : samples_) {
        fmt::print(data.get(), "{} {} {} {} {} {}\n", seconds / 60, host.memory, daemon.memory,
                   edits.median, edits.percentile_99, edits.longest);
    }
    std::fflush(data.get());
    const std::string settings = fmt::format("data='/proc/{}/fd/{}'", getpid(), fileno(data.get()));
    support::Outcome outcome = support::run("gnuplot", {"-e", settings, SOAK_PICTURE});
    if (outcome.exit_code != 0) {
        throw std::runtime_error("gnuplot could not draw the picture: " + outcome.output);
    }
    return std::move(outcome.output);
}

} // namespace soak
