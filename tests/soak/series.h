// What the soak measures over time: memory, descriptors and the times of edits, for its report and
// its picture.
#ifndef SOAK_SERIES_H
#define SOAK_SERIES_H

#include <cstddef>
#include <string>
#include <vector>

namespace soak {

// The resources of a process.
struct Use {
    long memory = 0; // resident, KiB
    std::size_t descriptors = 0;
};

// The times of the edits of one interval, in milliseconds.
struct EditTimes {
    double median = 0;
    double percentile_99 = 0;
    double longest = 0;
};

// The median, the 99th percentile and the maximum of times in milliseconds; zeros for none.
EditTimes edit_times(std::vector<double> milliseconds);

class Series {
  public:
    void add_edit(double milliseconds) { times_.push_back(milliseconds); }

    // Ends an interval at this time, in seconds since the start. `run` counts the hosts and daemons
    // since the start; 0: the memory is not comparable, for instance because caches still fill.
    void add(double seconds, const Use &host, const Use &daemon, std::size_t run);

    // How fast the comparable resident memory of a process grows, in KiB per hour: the slope that
    // all runs have in common.
    double host_growth() const { return growth(&Sample::host); }
    double daemon_growth() const { return growth(&Sample::daemon); }

    // The times of all edits.
    EditTimes all_edits() const;

    // A picture of memory and times of edits, as an SVG document. gnuplot draws it. Throws
    // std::runtime_error.
    std::string picture() const;

  private:
    struct Sample {
        double seconds;
        std::size_t run;
        Use host, daemon;
        EditTimes edits;
    };
    double growth(Use Sample::*process) const;

    std::vector<Sample> samples_;
    std::vector<double> times_;     // of the edits in this interval
    std::vector<double> all_times_; // of those in the intervals before
};

} // namespace soak

#endif
