#include "report.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <map>
#include <thread>

namespace tools {

namespace {

std::string exported_name(const request& r) {
  const bool three_arrays = r.entry == "csrgemv" || r.entry == "csrsymv" || r.entry == "csrtrsv";
  const bool zero_based = three_arrays && r.descriptor.back() == 'C';
  return fmt::format("{}_{}{}", zero_based ? "orv_csparse" : "orv_sparse", r.type, r.entry);
}

bool has_descriptor(const request& r) { return !r.descriptor.empty(); }
bool has_operation(const request& r) { return r.entry.starts_with("cs"); }
bool has_rhs(const request& r) {
  return r.entry.ends_with("mm") || r.entry.ends_with("sm") || r.entry == "csrmultd";
}

std::string case_name(const request& r) {
  std::string name = exported_name(r);
  if (has_descriptor(r)) name += " " + r.descriptor;
  if (has_operation(r) && r.transa != 0) name += r.transa == 1 ? " T" : " H";
  if (has_rhs(r)) name += fmt::format(" n={}", r.rhs);
  return name;
}

std::string format_time(double seconds) {
  if (seconds < 1e-6) return fmt::format("{:.3g} ns", seconds * 1e9);
  if (seconds < 1e-3) return fmt::format("{:.3g} us", seconds * 1e6);
  if (seconds < 1) return fmt::format("{:.3g} ms", seconds * 1e3);
  return fmt::format("{:.3g} s", seconds);
}

std::string format_threads(const measurement& m) {
  return m.threads_used == m.threads ? fmt::format("{}", m.threads)
                                     : fmt::format("{} ({} used)", m.threads, m.threads_used);
}

}  // namespace

std::string table(const std::vector<measurement>& all) {
  std::vector<std::string> peers;
  for (const measurement& m : all) {
    for (const timing& t : m.peers) {
      if (std::find(peers.begin(), peers.end(), t.name) == peers.end()) peers.push_back(t.name);
    }
  }
  std::vector<std::vector<std::string>> rows = {
      {"case", "threads", "time", "MB", "GB/s", "GFLOP/s", "of limit"}};
  for (const std::string& peer : peers) rows[0].push_back(peer + "/nevrad");
  for (const measurement& m : all) {
    std::vector<std::string> row = {case_name(m.wanted),
                                    format_threads(m),
                                    format_time(m.own.median),
                                    fmt::format("{:.3g}", m.bytes * 1e-6),
                                    fmt::format("{:#.3g}", m.bytes / m.own.median * 1e-9),
                                    m.flops > 0
                                        ? fmt::format("{:#.3g}", m.flops / m.own.median * 1e-9)
                                        : "-",
                                    fmt::format("{:.0f}%", 100 * m.limit_seconds() / m.own.median)};
    for (const std::string& peer : peers) {
      const auto found = std::find_if(m.peers.begin(), m.peers.end(),
                                      [&](const timing& t) { return t.name == peer; });
      row.push_back(found == m.peers.end() ? "-"
                                           : fmt::format("{:.2f}", found->median / m.own.median));
    }
    rows.push_back(row);
  }
  std::vector<std::size_t> widths(rows[0].size(), 0);
  for (const auto& row : rows) {
    for (std::size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], row[c].size());
  }
  std::string text;
  for (const auto& row : rows) {
    std::string line = fmt::format("{:<{}}", row[0], widths[0]);
    for (std::size_t c = 1; c < row.size(); ++c) line += fmt::format("  {:>{}}", row[c], widths[c]);
    text += line + "\n";
  }
  return text;
}

std::string json(const subject& what, const settings& how, const std::vector<measurement>& all) {
  using object = nlohmann::ordered_json;
  object report;
  report["date"] = fmt::format("{:%FT%TZ}", fmt::gmtime(std::time(nullptr)));
  report["cpus"] = std::thread::hardware_concurrency();
  report["repeats"] = how.repeats;
  report["matrix"] = {{"title", what.title},
                      {"rows", what.rows},
                      {"columns", what.cols},
                      {"entries", what.entries}};
  report["cases"] = object::array();
  const auto of = [](const timing& t) {
    return object{{"name", t.name},
                  {"median_seconds", t.median},
                  {"least_seconds", t.least},
                  {"relative_error", t.error}};
  };
  for (const measurement& m : all) {
    object one;
    one["entry"] = exported_name(m.wanted);
    if (has_descriptor(m.wanted)) one["descriptor"] = m.wanted.descriptor;
    if (has_operation(m.wanted)) one["transa"] = m.wanted.transa;
    if (has_rhs(m.wanted)) one["right_hand_sides"] = m.wanted.rhs;
    one["threads"] = m.threads;
    one["threads_used"] = m.threads_used;
    one["bytes"] = m.bytes;
    one["flops"] = m.flops;
    one["nevrad"] = of(m.own);
    one["gbytes_per_second"] = m.bytes / m.own.median * 1e-9;
    one["gflops"] = m.flops / m.own.median * 1e-9;
    one["limit"] = {{"read_seconds", m.read_seconds},
                    {"compute_seconds", m.compute_seconds},
                    {"fraction", m.limit_seconds() / m.own.median}};
    one["peers"] = object::array();
    for (const timing& t : m.peers) one["peers"].push_back(of(t));
    report["cases"].push_back(one);
  }
  return report.dump(2) + "\n";
}

namespace {

// What the machine reached at best among the cases, for a number of threads.
struct roof {
  double bandwidth = 0;  // GB/s
  double peak = 0;       // GFLOP/s
};

std::string escaped(std::string text) {
  std::replace(text.begin(), text.end(), '"', '\'');
  return text;
}

}  // namespace

std::string roofline(const subject& what, const std::vector<measurement>& all) {
  std::map<int, roof> roofs;
  std::map<std::string, std::string> points;  // by contestant: lines of data
  std::string names;                          // the cases, numbered as the library's points are
  int number = 0;
  double left = 1e9;
  double right = 0;
  double lowest = 1e9;
  for (const measurement& m : all) {
    if (m.flops == 0) continue;
    roof& r = roofs[m.threads];
    r.bandwidth = std::max(r.bandwidth, m.bytes / m.read_seconds * 1e-9);
    r.peak = std::max(r.peak, m.flops / m.compute_seconds * 1e-9);
    const double intensity = m.flops / m.bytes;
    left = std::min(left, intensity);
    right = std::max(right, intensity);
    ++number;
    const auto add = [&](const timing& t) {
      const double rate = m.flops / t.median * 1e-9;
      points[t.name] += fmt::format("{:.6g} {:.6g} {}\n", intensity, rate, number);
      lowest = std::min(lowest, rate);
    };
    add(m.own);
    for (const timing& t : m.peers) add(t);
    names += fmt::format(", \\\n  keyentry with points pt 0 title \"{}: {}, {}T\"", number,
                         case_name(m.wanted), m.threads);
  }
  if (roofs.empty()) return {};
  double highest = 0;
  for (const auto& [threads, r] : roofs) {
    highest = std::max(highest, r.peak);
    right = std::max(right, 2 * r.peak / r.bandwidth);
  }
  std::string script = fmt::format("set title \"{}\" noenhanced\n", escaped(what.title));
  script +=
      "set logscale xy\nset grid\nset key outside right top Left reverse noenhanced font ',10'\n";
  script += "set xlabel 'operations a byte'\nset ylabel 'GFLOP/s'\n";
  script += fmt::format("set xrange [{:.6g}:{:.6g}]\nset yrange [{:.6g}:{:.6g}]\n", left / 2, right,
                        lowest / 2, highest * 2);
  for (const auto& [name, data] : points) script += fmt::format("${} << E\n{}E\n", name, data);
  std::string curves;
  std::size_t line = 0;
  for (const auto& [threads, r] : roofs) {
    curves += fmt::format(
        "{}({:.6g} * x < {:.6g} ? {:.6g} * x : {:.6g}) with lines lw 2 dt {} lc rgb 'black' "
        "title 'roof, {} thread{}: {:.1f} GB/s, {:.1f} GFLOP/s'",
        curves.empty() ? "" : ", \\\n  ", r.bandwidth, r.peak, r.bandwidth, r.peak, ++line, threads,
        threads == 1 ? "" : "s", r.bandwidth, r.peak);
  }
  // Of the colours that people of any colour vision tell apart.
  constexpr const char* colours[] = {"#d55e00", "#009e73", "#cc79a7"};
  std::size_t peers = 0;
  for (const auto& [name, data] : points) {
    if (name == "nevrad") continue;
    curves += fmt::format(
        ", \\\n  ${0} using 1:2 with points pt {1} ps 1.3 lw 2 lc rgb '{2}' title '{0}'", name,
        4 + 2 * (peers % 4), colours[peers % 3]);
    ++peers;
  }
  curves +=
      ", \\\n  $nevrad using 1:2 with points pt 7 ps 1.3 lc rgb '#0072b2' title 'nevrad'"
      ", \\\n  $nevrad using 1:2:3 with labels left offset 0.8,0.3 font ',11' notitle";
  return script + "plot " + curves + names + "\n";
}

}  // namespace tools
