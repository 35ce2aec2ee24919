#include "rules.h"

namespace tools {

const std::vector<use>& all_uses() {
  constexpr storage rows = storage::rows;
  constexpr storage columns = storage::columns;
  constexpr bool y = true;
  constexpr bool n = false;
  // clang-format off
  static const std::vector<use> all = {
      //                                3-arr sq  pack  sort  uniq  diag  some
      {"csrmv",      "G",  "0",   rows,    n, n,    y,    n,    n,    n,    n, ""},
      {"csrmv",      "G",  "12",  rows,    n, n,    n,    n,    y,    n,    n, ""},
      {"csrmv",      "SH", "012", rows,    n, y,    n,    n,    n,    n,    n, "one triangle counts"},
      {"csrmv",      "T",  "0",   rows,    n, y,    n,    n,    n,    n,    n, "one triangle counts"},
      {"csrmv",      "T",  "12",  rows,    n, y,    n,    y,    y,    n,    n, "one triangle counts"},
      {"csrmv",      "D",  "012", rows,    n, y,    n,    n,    n,    n,    n, "the first diagonal entry of a row counts"},
      {"cscmv",      "G",  "0",   columns, n, n,    n,    n,    y,    n,    n, ""},
      {"cscmv",      "G",  "12",  columns, n, n,    n,    n,    n,    n,    n, ""},
      {"cscmv",      "SHT","012", columns, n, y,    n,    y,    y,    n,    n, "one triangle counts"},
      {"cscmv",      "D",  "012", columns, n, y,    n,    n,    n,    n,    n, "the first diagonal entry of a column counts"},
      {"csrgemv",    "G",  "0",   rows,    y, y,    y,    n,    n,    n,    n, ""},
      {"csrgemv",    "G",  "12",  rows,    y, y,    y,    n,    y,    n,    n, ""},
      {"csrsymv",    "S",  "0",   rows,    y, y,    y,    n,    n,    n,    n, "one triangle counts"},
      {"csrsv",      "T",  "012", rows,    n, y,    n,    y,    y,    y,    n, "one triangle counts"},
      {"csrsv",      "D",  "012", rows,    n, y,    n,    n,    n,    y,    n, "a row without it leaves y as it was"},
      {"cscsv",      "T",  "012", columns, n, y,    n,    y,    y,    y,    n, "one triangle counts"},
      {"cscsv",      "D",  "012", columns, n, y,    n,    n,    n,    y,    n, "a column without it leaves y as it was"},
      {"csrtrsv",    "T",  "012", rows,    y, y,    y,    y,    y,    y,    n, "one triangle counts"},
      {"csrmm",      "G",  "012", rows,    n, n,    y,    n,    n,    n,    y, ""},
      {"csrmm",      "SHT","012", rows,    n, y,    y,    n,    n,    n,    y, "one triangle counts"},
      {"csrmm",      "D",  "012", rows,    n, y,    y,    n,    n,    n,    y, "the last diagonal entry of a row counts"},
      {"cscmm",      "G",  "012", columns, n, n,    y,    n,    n,    n,    y, ""},
      {"cscmm",      "SHT","012", columns, n, y,    y,    n,    n,    n,    y, "one triangle counts"},
      {"cscmm",      "D",  "012", columns, n, y,    y,    n,    n,    n,    n, "the last diagonal entry of a column counts"},
      {"csrsm",      "T",  "012", rows,    n, y,    y,    n,    y,    y,    y, "one triangle counts"},
      {"csrsm",      "D",  "012", rows,    n, y,    y,    n,    n,    y,    y, "a row without it gives 0 * x"},
      {"cscsm",      "T",  "012", columns, n, y,    y,    n,    y,    y,    y, "one triangle counts"},
      {"cscsm",      "D",  "012", columns, n, y,    y,    n,    n,    y,    n, "a column without it gives 0 * x"},
      {"csradd",     "G",  "012", rows,    y, n,    y,    y,    y,    n,    n, "one-based; sort 1 to 3 sorts for the call"},
      {"csrmultcsr", "G",  "0",   rows,    y, n,    y,    n,    n,    n,    n, "one-based"},
      {"csrmultcsr", "G",  "12",  rows,    y, n,    y,    n,    n,    n,    y, "one-based"},
      {"csrmultd",   "G",  "012", rows,    y, n,    y,    n,    y,    n,    y, "one-based; the second factor may store places twice"},
  };
  // clang-format on
  return all;
}

bool use::one_based() const {
  const std::string name = entry;
  return name.starts_with("csradd") || name.starts_with("csrmult");
}

std::vector<std::string> obstacles(const use& of, const compressed& a, const structure& found) {
  std::vector<std::string> all;
  const std::string line = a.by == storage::rows ? "rows" : "columns";
  if (!found.forward.holds()) all.push_back(line + " that leave the arrays");
  if (!found.in_bounds.holds()) all.push_back("indices out of bounds");
  if (!found.based.holds()) all.push_back("the first pointer is not the base");
  if (of.one_based() && a.base == 0 && !a.base_is_free) all.emplace_back("indices from 0");
  if (of.square && a.lines != a.width) all.emplace_back("not square");
  if (of.packed && !found.packed.holds()) all.push_back(line + " that are not packed");
  if (of.sorted && !found.sorted.holds()) all.push_back(line + " that are not sorted");
  if (of.unique && !found.unique.holds()) all.emplace_back("places stored twice");
  if (of.diagonal && !found.diagonal.holds()) all.emplace_back("diagonal entries missing");
  if (of.diagonal && found.diagonal.holds() && !found.nonzero.holds()) {
    all.emplace_back("zeros on the diagonal");
  }
  if (of.nonempty && found.entries == 0) all.emplace_back("no entries");
  return all;
}

}  // namespace tools
