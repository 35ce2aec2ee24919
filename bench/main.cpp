// nevrad's products against a peer, a plain loop and the limits of the machine.
//
// Names of benchmarks: family/case/working set/type/threads/contestant. By default every benchmark
// runs several times, in an order drawn anew for each round, and the aggregates are reported. All
// of Google Benchmark's options hold, --benchmark_filter=REGEX first among them.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

int main(int argc, char** argv) {
  // Ahead of the user's options, so that those win.
  std::vector<std::string> defaults = {
      "--benchmark_enable_random_interleaving=true",
      "--benchmark_repetitions=15",
      "--benchmark_report_aggregates_only=true",
      "--benchmark_min_time=0.005",
  };
  std::vector<char*> arguments = {argv[0]};
  for (std::string& option : defaults) arguments.push_back(option.data());
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);

  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
