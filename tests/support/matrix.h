// Compressed matrices as a caller holds them, and random ones made of the nasty lines.
#pragma once

#include "matrix/record.h"
#include "support/random.h"

#include <algorithm>
#include <map>
#include <utility>

namespace nevrad_test {

using nevrad::compression;

// A matrix in four arrays, either compression, either base.
template <class T>
struct matrix {
  compression kind = compression::rows;
  int rows = 0;
  int cols = 0;
  int base = 0;
  array<T> values;
  array<int> indices;
  array<int> begin;
  array<int> end;

  int major() const { return kind == compression::rows ? rows : cols; }
  int minor() const { return kind == compression::rows ? cols : rows; }
  int entries() const { return end[major() - 1] - begin[0]; }

  // The three-array form: major + 1 pointers. For packed lines only.
  array<int> pointers() const {
    array<int> all(major() + 1);
    std::copy(begin.begin(), begin.end(), all.begin());
    all[major()] = end[major() - 1];
    return all;
  }

  // The pointers as callers pass them: in two arrays, or in one that serves as both, which calls
  // may take without copying the matrix. For packed lines only.
  struct pointer_arrays {
    array<int> all;
    const int* begin;
    const int* end;
  };
  pointer_arrays pointers_in(bool one_array) const {
    pointer_arrays p{pointers(), begin.data(), end.data()};
    if (one_array) {
      p.begin = p.all.data();
      p.end = p.begin + 1;
    }
    return p;
  }

  nevrad::compressed_view<T> view() const {
    return {values.data(), begin.data(), end.data(), indices.data(), rows, cols, base, 0};
  }
};

// From lines of (minor index from 0, value), `gap` foreign entries behind every line: their
// indices are valid and their values NaN, so that whoever reads them shows it.
template <class T>
using lines = std::vector<std::vector<std::pair<int, T>>>;

template <class T>
matrix<T> compress(const lines<T>& source, int minor, compression kind, int base, int gap = 0) {
  const auto major = static_cast<int>(source.size());
  matrix<T> a;
  a.kind = kind;
  a.rows = kind == compression::rows ? major : minor;
  a.cols = kind == compression::rows ? minor : major;
  a.base = base;
  a.begin = array<int>(major);
  a.end = array<int>(major);
  std::vector<T> values;
  std::vector<int> indices;
  for (int i = 0; i < major; ++i) {
    a.begin[i] = static_cast<int>(values.size()) + base;
    for (const auto& [index, value] : source[static_cast<std::size_t>(i)]) {
      indices.push_back(index + base);
      values.push_back(value);
    }
    a.end[i] = static_cast<int>(values.size()) + base;
    for (int g = 0; g < gap; ++g) {
      indices.push_back(base);
      values.push_back(quiet_nan<T>());
    }
  }
  a.values = array<T>(values);
  a.indices = array<int>(indices);
  return a;
}

template <class T>
using row = std::vector<std::pair<int, T>>;

inline std::size_t at(std::int64_t i) { return static_cast<std::size_t>(i); }

template <class T>
lines<T> lines_of(const matrix<T>& a) {
  lines<T> all(at(a.major()));
  for (int i = 0; i < a.major(); ++i) {
    for (int p = a.begin[i] - a.base; p < a.end[i] - a.base; ++p) {
      all[at(i)].emplace_back(a.indices[p] - a.base, a.values[p]);
    }
  }
  return all;
}

// Lines of the other direction, ascending; entries at one place keep their order.
template <class T>
lines<T> transposed(const lines<T>& a, int minor, bool turned = false) {
  lines<T> t(at(minor));
  for (std::size_t i = 0; i < a.size(); ++i) {
    for (const auto& [index, value] : a[i]) {
      t[at(index)].emplace_back(static_cast<int>(i), conjugated(value, turned));
    }
  }
  return t;
}

// Ascending indices; equal ones keep their order.
template <class T>
row<T> ascending(const row<T>& entries) {
  const std::multimap<int, T> sorted(entries.begin(), entries.end());
  return {sorted.begin(), sorted.end()};
}
template <class T>
lines<T> ascending(lines<T> all) {
  for (row<T>& entries : all) entries = ascending(entries);
  return all;
}

// Which diagonal entries a random matrix has. `dominant` makes every one present and larger than
// the rest of its line together, so that triangular systems are well conditioned.
enum class stored_diagonal { some, none, all, dominant };

struct matrix_kind {
  int rows = 0;
  int cols = 0;
  int base = 0;
  compression kind = compression::rows;
  int typical = 4;          // entries of an ordinary line
  bool sorted = false;      // minor indices ascend within every line
  bool nasty = true;        // empty, single-entry and full lines among the ordinary ones
  bool duplicates = false;  // off-diagonal entries stored twice, which count twice
  int gap = 0;              // foreign entries behind every line
  stored_diagonal diagonal = stored_diagonal::some;
};

// Entries lie on both sides of the diagonal and have unrelated values, so a kernel that reads the
// wrong triangle shows it. Never without any entry. A diagonal entry is stored at most once.
template <class T>
matrix<T> random_matrix(generator& random, const matrix_kind& like) {
  const bool by_rows = like.kind == compression::rows;
  const int major = by_rows ? like.rows : like.cols;
  const int minor = by_rows ? like.cols : like.rows;
  lines<T> source(static_cast<std::size_t>(major));
  bool empty = true;
  for (int i = 0; i < major; ++i) {
    int length = random.integer(0, std::max(0, 2 * like.typical));
    if (like.nasty) {
      const int lot = random.integer(0, 7);
      if (lot == 0) length = 0;
      if (lot == 1) length = 1;
      if (lot == 2) length = minor;
    }
    if (empty && i == major - 1) length = std::max(length, 1);
    std::vector<int> places(static_cast<std::size_t>(minor));
    for (int j = 0; j < minor; ++j) places[static_cast<std::size_t>(j)] = j;
    for (int j = minor - 1; j > 0; --j) {
      std::swap(places[static_cast<std::size_t>(j)],
                places[static_cast<std::size_t>(random.integer(0, j))]);
    }
    places.resize(static_cast<std::size_t>(std::min(length, minor)));

    const auto at = std::find(places.begin(), places.end(), i);
    const bool wanted =
        like.diagonal == stored_diagonal::all || like.diagonal == stored_diagonal::dominant;
    if (like.diagonal == stored_diagonal::none && at != places.end()) places.erase(at);
    if (wanted && i < minor && at == places.end()) {
      places.insert(places.begin() + random.integer(0, static_cast<int>(places.size())), i);
    }
    if (like.duplicates && !places.empty()) {
      const int again = places[places.size() / 2];
      if (again != i) places.push_back(again);
    }
    if (like.sorted) std::sort(places.begin(), places.end());

    auto& line = source[static_cast<std::size_t>(i)];
    for (const int j : places) {
      T value = random.value<T>();
      if (like.diagonal == stored_diagonal::dominant) {
        // A line's other entries together stay below 1/2, the diagonal between 1 and 4.
        wide<T> w = widen(value);
        if (j == i) {
          w = w / std::abs(w) * static_cast<wide_real<T>>(random.integer(100, 399) / 100.0);
        } else {
          w /= static_cast<wide_real<T>>(12 * places.size());
        }
        value = narrow<T>(w);
      }
      line.emplace_back(j, value);
    }
    empty = empty && line.empty();
  }
  if (empty) source[0].emplace_back(minor > 1 ? minor - 1 : 0, random.value<T>());
  return compress<T>(source, minor, like.kind, like.base, like.gap);
}

}  // namespace nevrad_test
