// nevrad-check: what a matrix is like, and which of the library's entries may be used on it.
#include "rules.h"
#include "structure.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <exception>
#include <new>

namespace tools {

namespace {

// What the program answers to its caller.
enum exit_code : int { usable = 0, not_usable = 1, bad_input = 2 };

struct options {
  std::string file;
  std::string entry;
  std::string structure;
  int transa = -1;
  bool json = false;
};

struct finding {
  const char* name;
  const property* state;
  const char* holds;
  const char* broken;
};

std::vector<finding> findings(const structure& s) {
  return {{"based", &s.based, "the first pointer is the base", "the first pointer is not the base"},
          {"forward", &s.forward, "every line lies within the arrays",
           "lines end before they begin or leave the arrays"},
          {"in_bounds", &s.in_bounds, "every index names a place of the matrix",
           "indices are out of bounds"},
          {"packed", &s.packed, "each line begins where the one before it ends",
           "lines do not begin where the one before them ends"},
          {"sorted", &s.sorted, "indices ascend in every line", "lines are not in ascending order"},
          {"unique", &s.unique, "no place is stored twice", "places are stored twice"},
          {"diagonal", &s.diagonal, "every line has its entry on the diagonal",
           "entries on the diagonal are missing"},
          {"nonzero_diagonal", &s.nonzero, "no zero is stored on the diagonal",
           "zeros are stored on the diagonal"}};
}

const char* shape(const structure& s) {
  if (s.above == 0 && s.below == 0) return "diagonal";
  if (s.above == 0) return "lower triangular";
  return s.below == 0 ? "upper triangular" : "entries on both sides of the diagonal";
}

bool is_wanted(const use& u, const options& chosen) {
  const auto among = [](const std::string& text, const char* letters) {
    return text.empty() || std::string(letters).find(text[0]) != std::string::npos;
  };
  return (chosen.entry.empty() || chosen.entry == u.entry) &&
         among(chosen.structure, u.structures) &&
         (chosen.transa < 0 || among(std::to_string(chosen.transa), u.operations));
}

std::string describe(const use& u) {
  std::string structures;
  for (const char* s = u.structures; *s != 0; ++s) {
    structures += structures.empty() ? "" : ",";
    structures += *s;
  }
  std::string operations;
  for (const char* o = u.operations; *o != 0; ++o) {
    operations += operations.empty() ? "" : ",";
    operations += *o;
  }
  return fmt::format("{:<11} {:<8} transa {:<6}", u.entry, structures, operations);
}

// Prints one storage's findings and verdicts; returns whether every use that was asked for may be.
bool report(const compressed& a, const options& chosen, nlohmann::ordered_json& all) {
  const structure found = examine(a);
  const char* const line = a.by == storage::rows ? "rows" : "columns";
  nlohmann::ordered_json one;
  one["lines"] = line;
  one["entries"] = found.entries;
  one["empty_lines"] = found.empty_lines;
  one["shape"] = shape(found);
  if (!chosen.json) {
    fmt::print("by {}: {} entries, {} empty lines, {}\n", line, found.entries, found.empty_lines,
               shape(found));
  }
  for (const finding& f : findings(found)) {
    one["properties"][f.name] = {{"holds", f.state->holds()}, {"broken_lines", f.state->count}};
    if (!f.state->holds()) one["properties"][f.name]["first"] = f.state->broken_at;
    if (chosen.json) continue;
    const std::string text = f.state->holds()
                                 ? std::string(f.holds)
                                 : fmt::format("{}: in {} of {} lines, first in line {}", f.broken,
                                               f.state->count, a.lines, f.state->broken_at);
    fmt::print("  {:<3} {}\n", f.state->holds() ? "yes" : "NO", text);
  }
  bool all_usable = true;
  if (!chosen.json) fmt::print("  entries, by structure and operation:\n");
  for (const use& u : all_uses()) {
    if (u.by != a.by || !is_wanted(u, chosen)) continue;
    const std::vector<std::string> in_the_way = obstacles(u, a, found);
    all_usable = all_usable && in_the_way.empty();
    one["entries_allowed"].push_back({{"entry", u.entry},
                                      {"structures", u.structures},
                                      {"transa", u.operations},
                                      {"usable", in_the_way.empty()},
                                      {"obstacles", in_the_way}});
    if (chosen.json) continue;
    const std::string note = *u.note == 0 ? "" : fmt::format("  ({})", u.note);
    fmt::print("    {} {}\n", describe(u),
               in_the_way.empty() ? "yes" + note
                                  : fmt::format("NO: {}", fmt::join(in_the_way, ", ")));
  }
  all["storage"].push_back(one);
  return all_usable;
}

bool check(const options& chosen) {
  std::vector<compressed> forms;
  if (chosen.file.ends_with(".json")) {
    forms.push_back(read_arrays(chosen.file));
  } else {
    forms.push_back(read_market_lines(chosen.file, storage::rows));
    forms.push_back(read_market_lines(chosen.file, storage::columns));
  }
  const compressed& first = forms[0];
  const bool by_rows = first.by == storage::rows;
  nlohmann::ordered_json all;
  all["file"] = chosen.file;
  all["rows"] = by_rows ? first.lines : first.width;
  all["columns"] = by_rows ? first.width : first.lines;
  if (!chosen.json) {
    fmt::print("{}: {} by {}; lines are counted from 0\n", chosen.file,
               all["rows"].get<std::int64_t>(), all["columns"].get<std::int64_t>());
  }
  // Whether the entry that was asked for exists for one of the forms.
  bool asked = chosen.entry.empty();
  bool all_usable = true;
  for (const compressed& a : forms) {
    bool any = chosen.entry.empty();
    for (const use& u : all_uses()) any = any || (u.by == a.by && is_wanted(u, chosen));
    if (!any) continue;
    asked = true;
    all_usable = report(a, chosen, all) && all_usable;
  }
  if (!asked) throw std::runtime_error("no entry '" + chosen.entry + "' takes such a matrix");
  if (chosen.json) fmt::print("{}\n", all.dump(2));
  // Without a question every matrix that can be read is answered.
  return all_usable || (chosen.entry.empty() && chosen.structure.empty() && chosen.transa < 0);
}

int run_program(int argc, char** argv) {
  options chosen;
  CLI::App app(
      "Says what the lines of a matrix are like and which entries may be used on it. A Matrix "
      "Market file is taken as it is stored, entries in the order of the file, by rows and by "
      "columns. A JSON file holds the arrays: rows, columns, base, indx, pntrb and pntre (or ia), "
      "and optionally val and storage (csr, csc).\n"
      "Exit status: 0 the entries asked for may be used, 1 they may not, 2 wrong options or a file "
      "that cannot be used.",
      "nevrad-check");
  app.add_option("file", chosen.file, "matrix: .mtx, or .json with the arrays")->required();
  app.add_option("-e,--entry", chosen.entry, "judge this entry alone, like csrmv")
      ->check([](const std::string& name) {
        std::string known;
        for (const use& u : all_uses()) {
          if (name == u.entry) return std::string{};
          if (known.find(u.entry) == std::string::npos) known += std::string(" ") + u.entry;
        }
        return "no entry '" + name + "':" + known;
      });
  app.add_option("-s,--structure", chosen.structure, "judge descriptors of this letter alone")
      ->check(CLI::IsMember({"G", "S", "H", "T", "D"}));
  app.add_option("-o,--transa", chosen.transa, "judge this operation alone")
      ->check(CLI::Range(0, 2));
  app.add_flag("--json", chosen.json, "print the findings as JSON");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    app.exit(error);
    return error.get_exit_code() == 0 ? usable : bad_input;
  }
  try {
    return check(chosen) ? usable : not_usable;
  } catch (const std::bad_alloc&) {
    fmt::print(stderr, "nevrad-check: out of memory\n");
  } catch (const std::exception& error) {
    fmt::print(stderr, "nevrad-check: {}\n", error.what());
  }
  return bad_input;
}

}  // namespace

}  // namespace tools

int main(int argc, char** argv) { return tools::run_program(argc, argv); }
