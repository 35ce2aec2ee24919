// Matrices of any structure: lines empty or long, repeats, any order. Whatever the bytes say, the
// call succeeds; without repeats the result is that of dense arithmetic, and with them it is the
// same on one thread and on three.
#pragma once

#include "fuzz/input.h"
#include "support/trial.h"

#include <algorithm>

namespace nevrad_test {

// Lines out of bytes: a byte from 240 on begins the next line, others are columns. Solves get a
// diagonal that keeps them well conditioned.
template <class T>
matrix<T> matrix_of(fuzz_input& input,
                    generator& random,
                    const form_of<T>& form,
                    int order,
                    bool& repeats) {
  const bool general = form.structure()[0] == 'G' && !form.op.is("csradd");
  const bool solves = form.op.is("sv") || form.op.is("sm");
  lines<T> source(static_cast<std::size_t>(order));
  std::size_t line = 0;
  for (int taken = 0; !input.empty() && line < source.size() && taken < 400; ++taken) {
    const int byte = input.byte();
    if (byte >= 240) {
      ++line;
    } else {
      source[line].emplace_back(byte % order, random.value<T>());
    }
  }
  repeats = false;
  for (std::size_t i = 0; i < source.size(); ++i) {
    auto& entries = source[i];
    const auto by_column = [](const auto& a, const auto& b) { return a.first < b.first; };
    const auto same_column = [](const auto& a, const auto& b) { return a.first == b.first; };
    auto sorted = entries;
    std::sort(sorted.begin(), sorted.end(), by_column);
    const auto unique = std::unique(sorted.begin(), sorted.end(), same_column);
    if (general) {
      repeats = repeats || unique != sorted.end();
      continue;
    }
    sorted.erase(unique, sorted.end());
    if (solves) {
      const auto weight = static_cast<wide_real<T>>(16 * order);
      for (auto& entry : sorted) entry.second = narrow<T>(widen(entry.second) / weight);
      const auto here = std::find_if(sorted.begin(), sorted.end(), [&](const auto& entry) {
        return entry.first == static_cast<int>(i);
      });
      if (here != sorted.end()) sorted.erase(here);
      sorted.emplace_back(static_cast<int>(i), random.value<T>());
      std::sort(sorted.begin(), sorted.end(), by_column);
    }
    entries = sorted;
  }
  // Matrices without any entry are refused by some operations; they have tests of their own.
  if (std::all_of(source.begin(), source.end(), [](const auto& l) { return l.empty(); })) {
    source[0].emplace_back(0, random.value<T>());
  }
  return compress<T>(source, order, form.op.by_columns() ? compression::columns : compression::rows,
                     form.base());
}

template <class T>
void fuzz_structure_of(fuzz_input& input) {
  static const std::vector<form_of<T>> all = all_forms<T>();
  const form_of<T>& form = all[static_cast<std::size_t>(input.below(static_cast<int>(all.size())))];
  const int order = 1 + input.below(19);
  const int columns = 1 + input.below(19);
  const int lot = input.byte();
  generator random(static_cast<std::uint64_t>(lot));
  bool repeats = false;
  const matrix<T> a = matrix_of(input, random, form, order, repeats);
  const std::uint64_t seed = random.template value<float>() > 0 ? 1 : 2;

  trial<T> on_one(form, a, columns, seed);
  trial<T> on_three(form, a, columns, seed);
  // Half of the time scalars that a shortcut could be taken for.
  const bool special = lot >= 128;
  const int alpha = lot % 3 - 1;
  const int beta = lot / 3 % 3 - 1;
  for (trial<T>* const call : {&on_one, &on_three}) {
    if (special) call->set_scalars(make<T>(alpha), make<T>(beta));
  }
  {
    const budget_scope threads(1);
    EXPECT_EQ(on_one.run(), 0);
  }
  {
    const budget_scope threads(3);
    EXPECT_EQ(on_three.run(), 0);
  }
  if (!repeats) {
    EXPECT_TRUE(on_one.is_right());
    EXPECT_TRUE(on_three.is_right());
  }
  // Threads of these sum private vectors.
  const bool private_vectors = (form.op.is("gemv") && form.transa != 0) || form.op.is("symv");
  // A thread without entries leaves the sign of C's zeros alone; others add alpha times zero.
  const bool signed_zeros = special && beta == 0 && form.op.is("mm");
  // One thread fills compressed products in one pass; the arrays are the same for small ones.
  if (!private_vectors && !signed_zeros) on_three.expect_same(on_one);
}

inline void fuzz_structure(const std::uint8_t* data, std::size_t size) {
  fuzz_input input(data, size);
  switch (input.byte() % 4) {
    case 0:
      return fuzz_structure_of<float>(input);
    case 1:
      return fuzz_structure_of<double>(input);
    case 2:
      return fuzz_structure_of<complex32>(input);
    default:
      return fuzz_structure_of<complex64>(input);
  }
}

}  // namespace nevrad_test
