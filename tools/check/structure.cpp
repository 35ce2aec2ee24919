#include "structure.h"

#include "support/problem.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <stdexcept>

namespace tools {

namespace {

std::size_t at(std::int64_t i) { return static_cast<std::size_t>(i); }

void examine_line(const compressed& a,
                  std::int64_t line,
                  structure& found,
                  std::vector<std::int64_t>& last_seen) {
  bool sorted = true;
  bool unique = true;
  bool inside = true;
  bool diagonal = false;
  bool nonzero = false;
  std::int64_t before = -1;
  for (std::int64_t p = a.begin[at(line)] - a.base; p < a.end[at(line)] - a.base; ++p) {
    const std::int64_t index = a.indices[at(p)] - a.base;
    if (index < 0 || index >= a.width) {
      inside = false;
      continue;
    }
    sorted = sorted && index >= before;
    before = index;
    unique = unique && last_seen[at(index)] != line;
    last_seen[at(index)] = line;
    const bool after = a.by == storage::rows ? index > line : index < line;
    if (index == line) {
      // Of several the first is the one that counts.
      if (!diagonal) nonzero = a.zero.empty() || !a.zero[at(p)];
      diagonal = true;
    } else if (after) {
      ++found.above;
    } else {
      ++found.below;
    }
  }
  if (!inside) found.in_bounds.break_at(line);
  if (!sorted) found.sorted.break_at(line);
  if (!unique) found.unique.break_at(line);
  if (line < a.width && !diagonal) found.diagonal.break_at(line);
  if (diagonal && !nonzero) found.nonzero.break_at(line);
}

}  // namespace

structure examine(const compressed& a) {
  structure found;
  const auto size = static_cast<std::int64_t>(a.indices.size());
  const std::int64_t room = a.value_count < 0 ? size : std::min(size, a.value_count);
  if (a.begin[0] != a.base) found.based.break_at(0);
  std::vector<std::int64_t> last_seen(at(a.width), -1);
  for (std::int64_t line = 0; line < a.lines; ++line) {
    const std::int64_t first = a.begin[at(line)] - a.base;
    const std::int64_t past = a.end[at(line)] - a.base;
    if (first < 0 || past < first || past > room) {
      found.forward.break_at(line);
      continue;
    }
    found.entries += past - first;
    if (first == past) ++found.empty_lines;
    if (line > 0 && a.begin[at(line)] != a.end[at(line - 1)]) found.packed.break_at(line);
    examine_line(a, line, found, last_seen);
  }
  return found;
}

namespace {

using json = nlohmann::json;

std::vector<std::int64_t> integers(const json& from, const std::string& name) {
  if (!from.contains(name)) throw std::runtime_error("has no \"" + name + "\"");
  const json& list = from.at(name);
  if (!list.is_array()) throw std::runtime_error("\"" + name + "\" is no array");
  std::vector<std::int64_t> values;
  values.reserve(list.size());
  for (const json& element : list) {
    if (!element.is_number_integer()) {
      throw std::runtime_error(fmt::format("\"{}\"[{}] is no integer", name, values.size()));
    }
    const auto value = element.get<std::int64_t>();
    if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max()) {
      throw std::runtime_error(fmt::format("\"{}\"[{}] does not fit 32 bits", name, values.size()));
    }
    values.push_back(value);
  }
  return values;
}

std::int64_t dimension(const json& from, const std::string& name) {
  if (!from.contains(name) || !from.at(name).is_number_integer()) {
    throw std::runtime_error("has no integer \"" + name + "\"");
  }
  const auto value = from.at(name).get<std::int64_t>();
  constexpr std::int64_t most = 2147483645;
  if (value < 1 || value > most) {
    throw std::runtime_error(
        fmt::format("\"{}\" is {}: dimensions are 1 to {}", name, value, most));
  }
  return value;
}

compressed parse_arrays(const json& from) {
  if (!from.is_object()) throw std::runtime_error("is no JSON object");
  compressed a;
  const std::int64_t rows = dimension(from, "rows");
  const std::int64_t columns = dimension(from, "columns");
  const std::string kind = from.value("storage", "csr");
  if (kind != "csr" && kind != "csc") {
    throw std::runtime_error("\"storage\" is '" + kind + "', not csr or csc");
  }
  a.by = kind == "csr" ? storage::rows : storage::columns;
  a.lines = a.by == storage::rows ? rows : columns;
  a.width = a.by == storage::rows ? columns : rows;
  a.base = from.value("base", 0);
  if (a.base != 0 && a.base != 1) throw std::runtime_error("\"base\" is not 0 or 1");
  a.indices = integers(from, "indx");
  if (from.contains("ia")) {
    const std::vector<std::int64_t> ia = integers(from, "ia");
    if (static_cast<std::int64_t>(ia.size()) != a.lines + 1) {
      throw std::runtime_error(
          fmt::format("\"ia\" has {} elements, not {}", ia.size(), a.lines + 1));
    }
    a.begin.assign(ia.begin(), ia.end() - 1);
    a.end.assign(ia.begin() + 1, ia.end());
  } else {
    a.begin = integers(from, "pntrb");
    a.end = integers(from, "pntre");
    for (const auto* list : {&a.begin, &a.end}) {
      if (static_cast<std::int64_t>(list->size()) != a.lines) {
        throw std::runtime_error(fmt::format("\"{}\" has {} elements, not {}",
                                             list == &a.begin ? "pntrb" : "pntre", list->size(),
                                             a.lines));
      }
    }
  }
  if (from.contains("val")) {
    const json& values = from.at("val");
    if (!values.is_array()) throw std::runtime_error("\"val\" is no array");
    a.value_count = static_cast<std::int64_t>(values.size());
    a.zero.resize(std::max(values.size(), a.indices.size()), false);
    for (std::size_t p = 0; p < values.size(); ++p) {
      // A complex number is a pair.
      const json& value = values[p];
      const bool pair =
          value.is_array() && value.size() == 2 && value[0].is_number() && value[1].is_number();
      if (!pair && !value.is_number()) {
        throw std::runtime_error(fmt::format("\"val\"[{}] is no number", p));
      }
      a.zero[p] = pair ? value[0].get<double>() == 0 && value[1].get<double>() == 0
                       : value.get<double>() == 0;
    }
  }
  return a;
}

}  // namespace

compressed read_arrays(const std::string& path) {
  if (std::filesystem::is_directory(path)) throw std::runtime_error(path + ": is a directory");
  std::ifstream input(path);
  if (!input) throw std::runtime_error(path + ": " + std::strerror(errno));
  try {
    return parse_arrays(json::parse(input));
  } catch (const std::exception& error) {
    throw std::runtime_error(path + ": " + error.what());
  }
}

compressed read_market_lines(const std::string& path, storage by) {
  struct place {
    int line, index;
    bool zero;
  };
  std::vector<place> places;
  const bench::market_header header =
      bench::scan_market_file(path, [&](int row, int col, bool zero) {
        places.push_back(by == storage::rows ? place{row, col, zero} : place{col, row, zero});
      });
  compressed a;
  a.by = by;
  a.base_is_free = true;
  a.lines = by == storage::rows ? header.rows : header.cols;
  a.width = by == storage::rows ? header.cols : header.rows;
  std::vector<std::int64_t> begin(at(a.lines) + 1, 0);
  for (const place& p : places) ++begin[at(p.line) + 1];
  for (std::size_t i = 1; i < begin.size(); ++i) begin[i] += begin[i - 1];
  a.begin.assign(begin.begin(), begin.end() - 1);
  a.end.assign(begin.begin() + 1, begin.end());
  a.indices.resize(places.size());
  a.zero.resize(places.size());
  for (const place& p : places) {
    const std::int64_t to = begin[at(p.line)]++;
    a.indices[at(to)] = p.index;
    a.zero[at(to)] = p.zero;
  }
  if (header.field != "pattern") a.value_count = static_cast<std::int64_t>(places.size());
  if (header.field == "pattern") a.zero.clear();
  return a;
}

}  // namespace tools
