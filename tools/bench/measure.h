// Times the contestants of a task and the limits of the machine against each other.
#pragma once

#include "task.h"

#include <functional>
#include <string>
#include <vector>

namespace tools {

struct settings {
  int repeats = 15;
  double pass_seconds = 5e-3;  // what one timed pass takes at least
};

// Seconds of one run: the median of the passes, and the least.
struct timing {
  std::string name;
  double median = 0;
  double least = 0;
  double error = 0;
};

struct measurement {
  request wanted;
  int threads = 1;       // asked for
  int threads_used = 1;  // the budget that the call left, which is the one that it ran on
  double bytes = 0;
  double flops = 0;
  timing own;
  std::vector<timing> peers;
  double read_seconds = 0;     // the machine's least time to read as many bytes
  double compute_seconds = 0;  // and to do as many operations on doubles in registers

  double limit_seconds() const { return std::max(read_seconds, compute_seconds); }
};

struct wrong_result : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Called before every pass with the share of the work that is done.
using progress = std::function<void(double share)>;

// All contestants run in turns, in an order drawn anew for each of the rounds. Throws
// wrong_result when one is.
measurement measure(const request& wanted,
                    const task& made,
                    int threads,
                    const settings& how,
                    const progress& report);

}  // namespace tools
