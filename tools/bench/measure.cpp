#include "measure.h"

#include "support/limits.h"
#include "support/results.h"

#include "nevrad.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <random>

namespace tools {

namespace {

double now() {
  using clock = std::chrono::steady_clock;
  return std::chrono::duration<double>(clock::now().time_since_epoch()).count();
}

// One thing that is timed in turns with the others.
struct runner {
  std::string name;
  std::function<void()> run;
  int runs_a_pass = 1;
  std::vector<double> seconds;

  double pass() const {
    const double start = now();
    for (int i = 0; i < runs_a_pass; ++i) run();
    return (now() - start) / runs_a_pass;
  }

  timing result() const {
    std::vector<double> sorted = seconds;
    std::sort(sorted.begin(), sorted.end());
    return {name, sorted[sorted.size() / 2], sorted.front(), 0};
  }
};

// Of two times, of which the first may not have been taken yet.
double smaller_time(double before, double now_measured) {
  return before == 0 ? now_measured : std::min(before, now_measured);
}

// Never zero, so that it can be stored without changing what is computed.
volatile double sink = 1;

}  // namespace

measurement measure(const request& wanted,
                    const task& made,
                    int threads,
                    const settings& how,
                    const progress& report) {
  measurement found;
  found.wanted = wanted;
  found.threads = threads;
  found.bytes = made.bytes;
  found.flops = made.flops;

  std::vector<runner> runners;
  std::vector<double> errors;
  for (const contestant& c : made.contestants) {
    bench::use_threads(threads);
    if (c.reset) c.reset();
    c.run();
    if (c.name == "nevrad") found.threads_used = orv_get_thread_num_();
    const double error = c.error();
    // The negation catches NaN as well.
    if (!(error <= made.tolerance)) {
      throw wrong_result(fmt::format("{} gives a wrong result in {}: relative error {:.1e}", c.name,
                                     wanted.entry, error));
    }
    errors.push_back(error);
    runners.push_back({c.name, c.run, 1, {}});
  }
  // The limits on one thread as well: for little work opening a region takes longer than the work.
  const auto bytes = static_cast<std::size_t>(made.bytes);
  const double flops = made.flops;
  bench::reserve_read_buffer(bytes);
  for (int team = 1; team <= threads; team += std::max(1, threads - 1)) {
    runners.push_back({"read", [=] { sink = bench::read_once(bytes, team); }, 1, {}});
    if (flops > 0) {
      runners.push_back({"compute", [=] { sink = bench::compute_only(flops, team); }, 1, {}});
    }
  }

  for (runner& r : runners) {
    bench::use_threads(threads);
    const double once = std::min(r.pass(), r.pass());
    r.runs_a_pass = std::max(1, static_cast<int>(how.pass_seconds / std::max(once, 1e-8)));
  }
  std::mt19937 random(1);
  std::vector<std::size_t> order(runners.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  const auto total = static_cast<double>(how.repeats) * static_cast<double>(order.size());
  double done = 0;
  for (int round = 0; round < how.repeats; ++round) {
    std::shuffle(order.begin(), order.end(), random);
    for (const std::size_t i : order) {
      report(done / total);
      bench::use_threads(threads);
      runners[i].seconds.push_back(runners[i].pass());
      done += 1;
    }
  }

  for (std::size_t i = 0; i < runners.size(); ++i) {
    timing t = runners[i].result();
    if (i < errors.size()) t.error = errors[i];
    if (t.name == "nevrad") {
      found.own = t;
    } else if (t.name == "read") {
      found.read_seconds = smaller_time(found.read_seconds, t.median);
    } else if (t.name == "compute") {
      found.compute_seconds = smaller_time(found.compute_seconds, t.median);
    } else {
      found.peers.push_back(t);
    }
  }
  return found;
}

}  // namespace tools
