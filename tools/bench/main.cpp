// nevrad-bench: times any entry of the library on a matrix from a file or a generator, beside peers
// and the measured limits of the machine.
#include "measure.h"
#include "report.h"
#include "task.h"

#include "support/gnuplot.h"
#include "support/matrices.h"
#include "support/problem.h"

#include <fmt/format.h>
#include <omp.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <new>
#include <set>

namespace tools {

namespace {

// What the program answers to its caller.
enum exit_code : int { fine = 0, wrong = 1, bad_input = 2 };

struct options {
  std::string file;
  std::string problem = "stencil7";
  int rows = 200000;
  int row_length = 16;
  std::vector<std::string> entries = {"csrmv"};
  std::vector<std::string> types = {"d"};
  std::vector<int> operations = {0};
  std::vector<std::string> descriptors;
  std::vector<int> rhs = {16};
  std::vector<int> threads;
  settings how;
  bool no_peers = false;
  bool quiet = false;
  double progress_seconds = 5;
  std::string json;
  std::string plot;
};

int cube_root(int rows) { return std::max(2, static_cast<int>(std::lround(std::cbrt(rows)))); }

bench::matrix<double> with_values(const bench::pattern& p) {
  const bench::csr<double> a(p);
  return a.as_eigen();
}

using generator = bench::matrix<double> (*)(const options& chosen);
const std::map<std::string, generator>& problems() {
  static const std::map<std::string, generator> all = {
      {"stencil7",
       [](const options& c) { return with_values(bench::stencil7(cube_root(c.rows))); }},
      {"stencil27",
       [](const options& c) { return with_values(bench::stencil27(cube_root(c.rows))); }},
      {"diffusion",
       [](const options& c) {
         return std::get<bench::matrix<double>>(bench::make_diffusion(cube_root(c.rows)).a);
       }},
      {"uniform",
       [](const options& c) { return with_values(bench::uniform_random(c.rows, c.row_length)); }},
      {"power-law",
       [](const options& c) { return with_values(bench::power_law(c.rows, c.row_length)); }},
      {"arrow", [](const options& c) { return with_values(bench::arrow(c.rows)); }},
      {"band", [](const options& c) { return with_values(bench::band(c.rows, c.row_length / 2)); }},
  };
  return all;
}

// The descriptors that an entry is measured with unless the user names some.
std::string default_descriptor(const std::string& entry) {
  if (is_solve(entry)) return "TLNC";
  return entry == "csrsymv" ? "SLNC" : "G00C";
}

// The cases that the options span. Lists that an entry has no use for do not multiply it.
std::vector<request> span_cases(const options& chosen) {
  std::vector<request> all;
  for (const std::string& entry : chosen.entries) {
    const bool by_matrix = entry.starts_with("cs");
    const bool described = by_matrix && entry != "csradd" && !entry.starts_with("csrmult");
    const bool many = entry.ends_with("mm") || entry.ends_with("sm") || entry == "csrmultd";
    const std::vector<std::string> descriptors =
        !described                   ? std::vector<std::string>{""}
        : chosen.descriptors.empty() ? std::vector<std::string>{default_descriptor(entry)}
                                     : chosen.descriptors;
    const std::vector<int> operations = by_matrix ? chosen.operations : std::vector<int>{0};
    const std::vector<int> rhs = many ? chosen.rhs : std::vector<int>{1};
    for (const std::string& type : chosen.types) {
      for (const std::string& descriptor : descriptors) {
        for (const int transa : operations) {
          for (const int n : rhs) all.push_back({entry, type[0], transa, descriptor, n});
        }
      }
    }
  }
  return all;
}

// Says on the error stream how far a long run is: in one line on a terminal, else in a line every
// few seconds, the first after one at the latest.
class reporter {
 public:
  reporter(const options& chosen, std::size_t cases)
      : quiet_(chosen.quiet),
        interval_(chosen.progress_seconds),
        cases_(static_cast<double>(cases)) {}
  ~reporter() {
    if (shown_ && terminal_) std::fputs("\r\033[K", stderr);
  }
  reporter(const reporter&) = delete;
  reporter& operator=(const reporter&) = delete;

  void say(const std::string& name, double share_of_case) {
    using clock = std::chrono::steady_clock;
    const auto now = clock::now();
    const double seconds = std::chrono::duration<double>(now - last_).count();
    const double wait = terminal_ ? 0.2 : (shown_ ? interval_ : std::min(interval_, 1.0));
    if (quiet_ || seconds < wait) return;
    last_ = now;
    const auto percent = static_cast<int>(100 * (finished_ + share_of_case) / cases_);
    fmt::print(stderr, "{}nevrad-bench: {:3d}% {}{}", terminal_ ? "\r\033[K" : "", percent, name,
               terminal_ ? "" : "\n");
    std::fflush(stderr);
    shown_ = true;
  }
  void finish_case() { finished_ += 1; }

 private:
  bool quiet_;
  double interval_;
  double cases_;
  double finished_ = 0;
  bool terminal_ = isatty(STDERR_FILENO) == 1;
  bool shown_ = false;
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

std::vector<measurement> run_cases(const options& chosen, const bench::any_matrix& a) {
  const std::vector<request> cases = span_cases(chosen);
  std::vector<measurement> all;
  std::set<std::string> refusals;
  {
    reporter out(chosen, cases.size() * chosen.threads.size());
    for (const request& wanted : cases) {
      try {
        task made = make_task(wanted, a);
        if (chosen.no_peers) made.contestants.resize(1);
        for (const int threads : chosen.threads) {
          all.push_back(measure(wanted, made, threads, chosen.how, [&](double share) {
            out.say(wanted.entry + " " + wanted.descriptor, share);
          }));
          out.finish_case();
        }
      } catch (const refused& why) {
        refusals.insert(fmt::format("{}: {}", wanted.entry, why.what()));
      }
    }
  }
  for (const std::string& why : refusals) fmt::print(stderr, "nevrad-bench: left out {}\n", why);
  if (all.empty()) throw std::runtime_error("nothing was measured");
  return all;
}

void write_file(const std::string& path, const std::string& text) {
  if (path == "-") {
    fmt::print("{}", text);
    return;
  }
  std::ofstream out(path);
  out << text;
  out.close();
  if (!out) throw std::runtime_error(path + ": cannot be written");
}

void run(const options& chosen) {
  if (!chosen.plot.empty()) bench::expect_plotter(chosen.plot);
  bench::problem given;
  if (chosen.file.empty()) {
    given = {fmt::format("{}, about {} rows", chosen.problem, chosen.rows),
             problems().at(chosen.problem)(chosen)};
  } else {
    given = bench::read_market_file(chosen.file);
  }
  const subject what = std::visit(
      [&](const auto& a) { return subject{given.title, a.rows(), a.cols(), a.nonZeros()}; },
      given.a);
  const std::string report_title =
      fmt::format("{}: {} by {}, {} entries", what.title, what.rows, what.cols, what.entries);
  if (chosen.json != "-") fmt::print("{}\n", report_title);
  std::fflush(stdout);
  const std::vector<measurement> all = run_cases(chosen, given.a);
  if (chosen.json != "-") fmt::print("{}", table(all));
  if (!chosen.json.empty()) write_file(chosen.json, json(what, chosen.how, all));
  if (!chosen.plot.empty()) {
    const std::string script = roofline({report_title, 0, 0, 0}, all);
    if (script.empty()) throw std::runtime_error("the plot shows arithmetic: no case has any");
    bench::plot(script, chosen.plot);
  }
}

void add_options(CLI::App& app, options& chosen) {
  const auto positive = CLI::Range(1, 2147483645);
  app.add_option("file", chosen.file, "Matrix Market file (coordinate format, with values)");
  app.add_option("-p,--problem", chosen.problem, "generated matrix, without a file")
      ->check([](const std::string& name) {
        std::string known;
        for (const auto& [key, make] : problems()) known += " " + key;
        return problems().contains(name) ? std::string{} : "no problem '" + name + "':" + known;
      })
      ->capture_default_str();
  app.add_option("-r,--rows", chosen.rows, "rows of a generated matrix, about")
      ->check(CLI::Range(8, 100000000))
      ->capture_default_str();
  app.add_option("-l,--row-length", chosen.row_length,
                 "entries a row of uniform, power-law and band, about")
      ->check(CLI::Range(1, 10000))
      ->capture_default_str();
  app.add_option("-e,--entry", chosen.entries, "entries without prefix and letter, or all")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->capture_default_str();
  app.add_option("-t,--type", chosen.types, "element types")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(CLI::IsMember({"s", "d", "c", "z"}))
      ->capture_default_str();
  app.add_option("-o,--transa", chosen.operations, "0 plain, 1 transposed, 2 conjugate transposed")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(CLI::Range(0, 2))
      ->capture_default_str();
  app.add_option("-d,--descriptor", chosen.descriptors,
                 "matdescra; the last letter is the base and the layout: F from 1 and by columns, "
                 "C from 0 and by rows (default: G00C; SLNC for csrsymv, TLNC for solves)")
      ->delimiter(',')
      ->allow_extra_args(false);
  app.add_option("--rhs", chosen.rhs, "right-hand sides, or columns of a dense operand")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(positive)
      ->capture_default_str();
  app.add_option("-n,--threads", chosen.threads, "thread budgets (default: 1 and all)")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(CLI::Range(1, 640));
  app.add_option("--repeats", chosen.how.repeats, "rounds of which the median is taken")
      ->check(CLI::Range(1, 10000))
      ->capture_default_str();
  app.add_option("--pass", chosen.how.pass_seconds, "seconds that a timed pass takes at least")
      ->check(CLI::Range(0.0, 60.0))
      ->capture_default_str();
  app.add_flag("--no-peers", chosen.no_peers, "time the library alone");
  app.add_flag("-q,--quiet", chosen.quiet, "no progress on the error stream");
  app.add_option("--progress", chosen.progress_seconds,
                 "seconds between lines of progress where the error stream is no terminal")
      ->check(CLI::Range(0.0, 3600.0))
      ->capture_default_str();
  app.add_option("--json", chosen.json, "write the results to this file; - for standard output");
  app.add_option("--plot", chosen.plot, "write a roofline plot to this file (.svg, .png)");
}

int parse_options(int argc, char** argv, options& chosen) {
  CLI::App app(
      "Times the library's entries on a matrix, in turns with peers and with the limits of the "
      "machine; medians.\nExit status: 0 measured, 1 a wrong result, 2 wrong options or input.",
      "nevrad-bench");
  add_options(app, chosen);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    app.exit(error);
    return error.get_exit_code() == 0 ? -1 : bad_input;
  }
  if (chosen.entries == std::vector<std::string>{"all"}) {
    chosen.entries.assign(std::begin(entry_names), std::end(entry_names));
  }
  for (const std::string& entry : chosen.entries) {
    if (std::find(std::begin(entry_names), std::end(entry_names), entry) == std::end(entry_names)) {
      fmt::print(stderr, "nevrad-bench: no entry '{}'; there are: {}\n", entry,
                 fmt::join(entry_names, " "));
      return bad_input;
    }
  }
  if (chosen.threads.empty()) {
    chosen.threads = {1};
    if (omp_get_num_procs() > 1) chosen.threads.push_back(omp_get_num_procs());
  }
  return fine;
}

int run_program(int argc, char** argv) {
  options chosen;
  const int parsed = parse_options(argc, argv, chosen);
  if (parsed != fine) return parsed < 0 ? fine : parsed;
  try {
    run(chosen);
    return fine;
  } catch (const wrong_result& error) {
    fmt::print(stderr, "nevrad-bench: {}\n", error.what());
    return wrong;
  } catch (const std::bad_alloc&) {
    fmt::print(stderr, "nevrad-bench: out of memory\n");
  } catch (const std::exception& error) {
    fmt::print(stderr, "nevrad-bench: {}\n", error.what());
  }
  return bad_input;
}

}  // namespace

}  // namespace tools

int main(int argc, char** argv) { return tools::run_program(argc, argv); }
