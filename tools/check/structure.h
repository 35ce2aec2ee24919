// What the lines of a compressed matrix are like, as far as the library's contracts depend on it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tools {

enum class storage { rows, columns };

// A compressed matrix as a caller would hand it over. Lines are rows or columns.
struct compressed {
  storage by = storage::rows;
  std::int64_t lines = 0;
  std::int64_t width = 0;           // the other dimension
  std::int64_t base = 0;            // of pointers and indices: 0 or 1
  bool base_is_free = false;        // where a program makes the arrays, from a file of places
  std::vector<std::int64_t> begin;  // `lines` each
  std::vector<std::int64_t> end;
  std::vector<std::int64_t> indices;
  std::int64_t value_count = -1;  // -1 where no values are known
  std::vector<bool> zero;         // whether an entry is stored as zero; empty where not known
};

// The first line that breaks a property, from 0; -1 where none does.
struct property {
  std::int64_t broken_at = -1;
  std::int64_t count = 0;  // of lines, or of entries, that break it
  bool holds() const { return count == 0; }
  void break_at(std::int64_t line) {
    if (count++ == 0) broken_at = line;
  }
};

struct structure {
  std::int64_t entries = 0;
  property based;          // begin[0] is the base
  property forward;        // no line ends before it begins, or outside the arrays
  property in_bounds;      // every index names a place of the matrix
  property packed;         // each line begins where the line before it ended
  property sorted;         // indices do not descend within a line
  property unique;         // no index stands twice in a line
  property diagonal;       // every line has an entry on the diagonal
  property nonzero;        // and none of these is zero
  std::int64_t above = 0;  // entries above the diagonal
  std::int64_t below = 0;
  std::int64_t empty_lines = 0;

  // Whether the arrays can be walked at all.
  bool walkable() const { return forward.holds() && in_bounds.holds(); }
};

structure examine(const compressed& a);

// Reads compressed arrays from JSON: "rows", "columns", "base", "indx" and either "pntrb" and
// "pntre" or "ia"; optional "val" and "storage" ("csr", "csc"). Throws std::runtime_error with a
// message for the user when the file is broken.
compressed read_arrays(const std::string& path);

// The matrix of a Matrix Market file as it is stored there, its entries put into their lines in the
// order of the file: as a program fills its arrays that does not sort.
compressed read_market_lines(const std::string& path, storage by);

}  // namespace tools
