// One comparison: the same work on the same data by several contestants, each a benchmark named
// "comparison/contestant". The program runs all benchmarks in random interleaving, so that the
// medians of one comparison can be divided by each other.
//
// Data is a struct that holds the operands and the result:
//   double bytes() const, flops() const   what one run moves at least, and computes
//   void reset()                          puts back what a run changes
//   double error() const                  how far the result of the first run after reset() is
//                                         from the expected one, relative to its size
//   static constexpr double tolerance     what error() may be
// A contestant is a callable on Data&. The first to give a wrong result ends the program.
#pragma once

#include "support/limits.h"
#include "support/matrices.h"
#include "support/results.h"

#include <benchmark/benchmark.h>
#include <omp.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace bench {

// Data that is made when the first of its benchmarks runs: a filter saves making the others.
template <class Data>
class lazy {
 public:
  template <class Make>
  explicit lazy(const Make& make) : state_(std::make_shared<state>(state{make, nullptr})) {}
  Data& get() const {
    if (!state_->data) state_->data = state_->make();
    return *state_->data;
  }

 private:
  struct state {
    std::function<std::unique_ptr<Data>()> make;
    std::unique_ptr<Data> data;
  };
  std::shared_ptr<state> state_;
};

// lazy data, made by the constructor with these arguments (which are copied).
template <class Data, class... Arguments>
lazy<Data> make_lazy(const Arguments&... arguments) {
  return lazy<Data>([arguments...] { return std::make_unique<Data>(arguments...); });
}

// Ends the program with a message: a benchmark of unequal work is worth nothing.
[[noreturn]] void fail(const std::string& message);

// What one run moves and computes, for reports to make rates of.
inline void set_counters(::benchmark::State& state, double bytes, double flops) {
  if (bytes > 0) state.counters["bytes"] = bytes;
  if (flops > 0) state.counters["flops"] = flops;
}

template <class Data>
class comparison {
 public:
  comparison(std::string name, int threads, lazy<Data> data)
      : name_(std::move(name) + "/" + std::to_string(threads) + "T"),
        threads_(threads),
        data_(std::move(data)) {}

  // Fewer repetitions than the program's default, for cases that take long.
  comparison& repeat(int repetitions) {
    repetitions_ = repetitions;
    return *this;
  }

  template <class Run>
  comparison& add(const char* who, Run run) {
    const std::string full_name = name_ + "/" + who;
    const auto checked = std::make_shared<bool>(false);
    register_timed(full_name, [=, data = data_, threads = threads_](::benchmark::State& state) {
      Data& d = data.get();
      use_threads(threads);
      d.reset();
      run(d);
      // The negation catches NaN as well.
      if (!*checked && !(d.error() <= Data::tolerance)) {
        fail(full_name + ": wrong result, error " + std::to_string(d.error()));
      }
      *checked = true;
      for (auto step : state) {
        run(d);
        ::benchmark::ClobberMemory();
      }
      set_counters(state, d.bytes(), d.flops());
    });
    return *this;
  }

  // The time that reading as many bytes takes, from a working set of that size.
  comparison& add_read_limit() {
    register_timed(name_ + "/limit", [data = data_, threads = threads_](::benchmark::State& state) {
      const double bytes = data.get().bytes();
      reserve_read_buffer(static_cast<std::size_t>(bytes));
      ::benchmark::DoNotOptimize(read_once(static_cast<std::size_t>(bytes), threads));
      for (auto step : state) {
        ::benchmark::DoNotOptimize(read_once(static_cast<std::size_t>(bytes), threads));
      }
      set_counters(state, bytes, 0);
    });
    return *this;
  }

  // The time that as many operations on doubles take on registers.
  comparison& add_compute_limit() {
    register_timed(name_ + "/peak", [data = data_, threads = threads_](::benchmark::State& state) {
      const double flops = data.get().flops();
      for (auto step : state) ::benchmark::DoNotOptimize(compute_only(flops, threads));
      set_counters(state, 0, flops);
    });
    return *this;
  }

 private:
  template <class Body>
  void register_timed(const std::string& name, const Body& body) const {
    const auto smallest = [](const std::vector<double>& v) {
      return *std::min_element(v.begin(), v.end());
    };
    auto* const timed = ::benchmark::RegisterBenchmark(name.c_str(), body);
    timed->UseRealTime()->ComputeStatistics("min", smallest);
    if (repetitions_ > 0) timed->Repetitions(repetitions_);
  }

  std::string name_;
  int threads_;
  int repetitions_ = 0;
  lazy<Data> data_;
};

// A file of benchmarks registers them by an object of this type at namespace scope.
struct registration {
  explicit registration(void (*register_all)()) { register_all(); }
};

}  // namespace bench
