// One exchange with bgpd's terminal: a command line and its answer.
#ifndef CONFIGD_FRR_VTY_ANSWER_H
#define CONFIGD_FRR_VTY_ANSWER_H

#include <functional>
#include <string>

namespace configd::frr {

// bgpd's answer to one command line. The status is bgpd's own (0 ok, 1 warning, 2 no match,
// 3 ambiguous, 4 incomplete, 13 failed), or `unreachable`.
struct VtyAnswer {
    static constexpr int unreachable = -1; // no connection, or it broke: the text is the reason

    std::string text;
    int status = 0;
};

// Sends one command line, without a line end, and waits for its answer. Nothing that bgpd does
// makes it throw.
using AskVty = std::function<VtyAnswer(const std::string &command)>;

} // namespace configd::frr

#endif
