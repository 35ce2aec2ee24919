// Line kernels of the symmetric and Hermitian products.
#pragma once

#include "mv/late_scale.h"
#include "mv/line_blocks.h"
#include "mv/symmetric.h"

namespace nevrad {

// y_i += acc alpha, and what follows it. Three more terms 0 * alpha follow in the symmetric forms;
// the first leaves the others nothing to change.
template <mirror_form Form, class T>
NEVRAD_INLINE T line_result(T yi, T acc, T alpha) {
  constexpr complex_sum sum = Form.hermitian ? complex_sum::separate : complex_sum::rotated;
  yi = add_product<sum, conjugation::no>(yi, acc, alpha);
  return Form.hermitian ? yi : multiply_add(yi, zero<T>(), alpha);
}

template <mirror_form Form, class T>
NEVRAD_INLINE void sym_mv_line(const T& alpha,
                               const compressed_view<T>& a,
                               const T* x,
                               T* y,
                               std::int32_t i,
                               std::int32_t offset) {
  constexpr origin from = Form.hermitian ? origin::base : origin::first_begin;
  constexpr complex_sum sum = Form.hermitian ? complex_sum::separate : complex_sum::rotated;
  const T* const x_at = x - offset;
  T* const y_at = y - offset;
  const T xi = x[i];
  const T xa = multiply_fused(xi, alpha);
  const auto line = line_at(a, i, offset);
  const auto use_twice = [&](T so_far, T element, std::int64_t j) {
    // In this order the element's register takes the mirrored sum.
    so_far = add_product<sum, Form.terms.gather>(so_far, element, x_at[j]);
    y_at[j] = add_product<sum, Form.terms.mirror>(y_at[j], element, xa);
    return so_far;
  };
  T acc;
  if constexpr (Form.ones == diagonal::unit) {
    acc = walk_line<Form.side, from>(line, xi, use_twice, [](T so_far, T) { return so_far; });
  } else {
    acc = walk_from_diagonal<Form.side, from>(line, zero<T>(), use_twice, [&](T so_far, T element) {
      return add_product<sum, Form.terms.diagonal>(so_far, element, xi);
    });
  }
  y[i] = line_result<Form>(y[i], acc, alpha);
}

// One by one. Apart from the blocks, which need all registers.
template <mirror_form Form, class T>
[[gnu::noinline]] void sym_mv_single_lines(const T& alpha_at,
                                           const compressed_view<T>& a,
                                           const T* x,
                                           T* y,
                                           std::int32_t line_begin,
                                           std::int32_t line_end) {
  const T alpha = alpha_at;
  const std::int32_t offset = origin_of<Form.hermitian ? origin::base : origin::first_begin>(a);
  for (std::int32_t i = line_begin; i < line_end; ++i) {
    sym_mv_line<Form>(alpha, a, x, y, i, offset);
  }
}

// The place in y, less the number of the line, that runs ahead of all others.
template <triangle Side>
NEVRAD_INLINE std::int32_t lead_of(const moving_shape& shape) {
  if (Side == triangle::lower || shape.run_count == 0) return 0;
  const run_of_entries& last = shape.runs[shape.run_count - 1];
  return static_cast<std::int32_t>(last.place) + last.length - 1;
}

// Blocks of lines from line_begin on, as long as they have the shape and begin no later than
// last_block, as the first does. Answers the line behind them. No line of an upper triangle
// mirrors into a line before it, none of a lower one behind it: the own elements come where the
// diagonal stands. Fresh: each block is the first to meet the elements of y at the lead, and
// multiplies them by beta.
template <mirror_form Form, bool Fresh, class T>
[[gnu::noinline]] std::int32_t take_moving_lines(const moving_shape& shape,
                                                 const compressed_view<T>& a,
                                                 const T* x,
                                                 T* y,
                                                 std::int32_t line_begin,
                                                 std::int32_t last_block,
                                                 T alpha_at,
                                                 const T& beta_at) {
  constexpr bool upper = Form.side == triangle::upper;
  const std::int32_t offset = a.begin[0];
  const std::int64_t length = shape.length;
  const lanes<T, 4> alpha = detail::splat(alpha_at);
  const lanes<T, 4> beta = detail::splat(beta_at);
  // The run next to the diagonal is told from the others.
  const int runs = shape.run_count;
  const run_of_entries last = runs > 0 ? shape.runs[runs - 1] : run_of_entries{0, 0, 0};
  const run_of_entries near = upper && runs > 0 ? shape.runs[0] : last;
  const run_of_entries* const far = shape.runs + (upper ? 1 : 0);
  const int far_count = runs - 1;
  const bool has_diagonal = runs > 0 && (upper ? near.place == 0 : near.place + near.length == 1);
  const std::int32_t lead = lead_of<Form.side>(shape);

  shaped_blocks<T> blocks(shape, a, line_begin, offset);
  block_fetch<T, trip_hints> fetch(shape, {});
  std::int32_t i = line_begin;
  while (blocks.has_shape(i, i + offset)) {
    fetch.begin_block(blocks.values, blocks.indices);
    if constexpr (!fixed_hints) {
      prefetch<cache::level1>(x + i + lead, lead_ahead);
      prefetch<cache::level1>(y + i + lead, lead_ahead);
    }
    T* const own = y + i;
    const lanes<T, 4> xi = load<4>(x + i);
    const lanes<T, 4> xa = multiply_fused(xi, alpha);
    lanes<T, 4> acc = Form.ones == diagonal::unit ? xi : zero_lanes<T, 4>();
    const auto add_run = [&](const run_of_entries& run, const auto& entries) NEVRAD_INLINED {
      acc = gather_entries(acc, entries, x + i + run.place);
    };
    const auto old_at = [&](const T* at, bool is_lead) NEVRAD_INLINED {
      const lanes<T, 4> old = load<4>(at);
      return Fresh && is_lead ? multiply_fused(old, beta) : old;
    };
    const auto take_far = [&]() NEVRAD_INLINED {
      for (int r = 0; r < far_count; ++r) {
        const run_of_entries run = far[r];
        fetch.begin_run();
        with_run_length(run.length, [&](auto n) NEVRAD_INLINED {
          constexpr int count = decltype(n)::value;
          const auto entries = load_entries<count>(blocks.values + run.entry, length);
          add_run(run, entries);
          T* const at = own + run.place;
          scatter_entries<0, count>(entries, at, xa,
                                    old_at(at + count - 1, upper && r == far_count - 1));
        });
      }
    };
    const auto results = [&](lanes<T, 4> old) NEVRAD_INLINED {
      return multiply_add(multiply_add(old, acc, alpha), zero_lanes<T, 4>(), alpha);
    };

    if constexpr (upper) {
      lanes<T, 4> behind = zero_lanes<T, 4>();  // what the first mirrored entry has met
      if (runs > 0) {
        fetch.begin_run();
        with_run_length(near.length, [&](auto n) NEVRAD_INLINED {
          constexpr int count = decltype(n)::value;
          const auto entries = load_entries<count>(blocks.values + near.entry, length);
          add_run(near, entries);
          T* const at = own + near.place;
          if (!has_diagonal) {
            behind =
                scatter_entries<0, count>(entries, at, xa, old_at(at + count - 1, far_count == 0));
          } else if constexpr (count > 1) {
            behind =
                scatter_entries<1, count>(entries, at, xa, old_at(at + count - 1, far_count == 0));
          }
        });
        take_far();
      }
      const bool next_door = has_diagonal ? near.length > 1 : runs > 0 && near.place == 1;
      store(own, results(next_door ? one_before(behind, own) : old_at(own, lead == 0)));
    } else if (runs > 0) {
      take_far();
      fetch.begin_run();
      with_run_length(near.length, [&](auto n) NEVRAD_INLINED {
        constexpr int count = decltype(n)::value;
        const auto entries = load_entries<count>(blocks.values + near.entry, length);
        add_run(near, entries);
        const lanes<T, 4> sums = results(old_at(own, true));
        store(own, sums);
        T* const at = own + near.place;
        if (!has_diagonal) {
          const bool next_door = near.place + count == 0;
          scatter_entries<0, count>(entries, at, xa,
                                    next_door ? one_before(sums, own - 1)
                                              : load<4>(at + count - 1));
        } else if constexpr (count > 1) {
          scatter_entries<0, count - 1>(entries, at, xa, one_before(sums, own - 1));
        }
      });
    } else {
      store(own, results(old_at(own, true)));
    }
    blocks.next();
    i += lines_a_block;
    if (i > last_block) break;
  }
  return i;
}

// Whether the lines are those of take_lines_of_four: the diagonal and three entries whose elements
// do not meet, but that the one next to the diagonal may be its neighbour.
template <triangle Side>
NEVRAD_INLINE bool is_of_four(const moving_shape& shape) {
  const std::int32_t* const p = shape.places;
  const auto apart = [&](int s) { return p[s + 1] - p[s] >= lines_a_block; };
  const auto near = [&](int s) { return p[s + 1] - p[s] == 1 || apart(s); };
  if (shape.length != 4) return false;
  return Side == triangle::upper ? p[0] == 0 && near(0) && apart(1) && apart(2)
                                 : p[3] == 0 && near(2) && apart(0) && apart(1);
}

// take_moving_lines for these: everything that the comparison with the shape needs moves on in
// registers, which leaves none for beta.
template <mirror_form Form, bool Fresh, class T>
[[gnu::noinline]] std::int32_t take_lines_of_four(const moving_shape& shape,
                                                  const compressed_view<T>& a,
                                                  const T* x,
                                                  T* y,
                                                  std::int32_t line_begin,
                                                  std::int32_t last_block,
                                                  T alpha_at,
                                                  const T& beta) {
  using namespace detail;
  constexpr bool upper = Form.side == triangle::upper;
  constexpr int near = upper ? 1 : 2;
  constexpr int far = upper ? 2 : 0;
  constexpr std::uint32_t entries = 16;  // of a block
  const std::int32_t offset = a.begin[0];
  const lanes<T, 4> alpha = splat(alpha_at);
  const std::int32_t first = a.begin[line_begin];
  const T* values = a.values + (first - offset);
  const std::int32_t* indices = a.indices + (first - offset);
  four_unsigned begins = four_unsigned{0, 4, 8, 12} + static_cast<std::uint32_t>(first);
  const auto number = static_cast<std::uint32_t>(line_begin + offset);
  eight_unsigned low = load_as<eight_unsigned>(shape.places) + number;
  eight_unsigned high = load_as<eight_unsigned>(shape.places + 8) + number;
  const std::int64_t place[] = {shape.places[0], shape.places[1], shape.places[2], shape.places[3]};
  const bool next_door = upper ? place[1] == 1 : place[2] == -1;
  const std::int32_t* const begin = a.begin;
  const std::int32_t* const end = a.end;
  std::int64_t i = line_begin;
  while (true) {
    const four_unsigned moved = (load_as<four_unsigned>(begin + i) ^ begins) |
                                (load_as<four_unsigned>(end + i) ^ (begins + 4));
    if (__builtin_reduce_or(moved) != 0) break;
    const eight_unsigned differ =
        (load_as<eight_unsigned>(indices) ^ low) | (load_as<eight_unsigned>(indices + 8) ^ high);
    if (__builtin_reduce_or(differ) != 0) break;
    T* const own = y + i;
    if constexpr (fixed_hints) {
      for (int r = 1; r <= lines_a_block; ++r) {
        hint_behind_trip(values + r * tile_size, indices + r * tile_size);
      }
    } else {
      // Blocks this small follow so fast that hints to level 1 would hold up their loads.
      constexpr int ahead = 2 * lead_ahead;
      prefetch<cache::level2>(values, stream_values_ahead);
      if constexpr (sizeof(T) == 8) prefetch<cache::level2>(values, stream_values_ahead + 64);
      prefetch<cache::level2>(indices, stream_indices_ahead);
      prefetch<cache::level2>(x + i + place[3], ahead);
      prefetch<cache::level2>(own + place[3], ahead);
      if ((i & 12) == 0) prefetch<cache::level2>(begin + i, ahead);
    }

    const tile<T> element = transpose(load_tile(values, 4));
    lanes<T, 4> acc = zero_lanes<T, 4>();
    for (int s = 0; s < 4; ++s) {
      acc = multiply_add(acc, element.line[s], load<4>(x + i + place[s]));
    }
    const lanes<T, 4> xa = multiply_fused(load<4>(x + i), alpha);
    const auto mirrored = [&](int s) {
      lanes<T, 4> old = load<4>(own + place[s]);
      if (Fresh && upper && s == 3) old = multiply_fused(old, splat(beta));
      return multiply_add(old, element.line[s], xa);
    };
    const auto results = [&](lanes<T, 4> old) {
      return multiply_add(multiply_add(old, acc, alpha), zero_lanes<T, 4>(), alpha);
    };
    store(own + place[far], mirrored(far));
    store(own + place[far + 1], mirrored(far + 1));
    if constexpr (upper) {
      const lanes<T, 4> behind = mirrored(near);
      if (next_door) {
        store(own, results(one_before(behind, own)));
        own[4] = behind.v[3];
      } else {
        store(own + place[near], behind);
        store(own, results(load<4>(own)));
      }
    } else {
      const lanes<T, 4> old = load<4>(own);
      const lanes<T, 4> sums = results(Fresh ? multiply_fused(old, splat(beta)) : old);
      if (next_door) {
        const lanes<T, 4> before = one_before(sums, own - 1);
        own[3] = sums.v[3];
        store(own - 1, multiply_add(before, element.line[near], xa));
      } else {
        store(own, sums);
        store(own + place[near], mirrored(near));
      }
    }
    values += entries;
    indices += entries;
    begins += entries;
    low += 4;
    high += 4;
    i += lines_a_block;
    if (i > last_block) break;
  }
  return static_cast<std::int32_t>(i);
}

// Blocks of the shape from line i on; answers the line behind them.
template <mirror_form Form, class T>
NEVRAD_INLINE std::int32_t take_shaped_blocks(const moving_shape& shape,
                                              const compressed_view<T>& a,
                                              const T* x,
                                              T* y,
                                              std::int32_t i,
                                              std::int32_t last_block,
                                              T alpha,
                                              late_scale<T>& scale) {
  const bool of_four = Form.ones == diagonal::stored && is_of_four<Form.side>(shape);
  const std::int32_t lead = lead_of<Form.side>(shape);
  const T beta = scale.factor();
  if (scale.done() == std::int64_t{i} + lead) {
    const auto take =
        of_four ? take_lines_of_four<Form, true, T> : take_moving_lines<Form, true, T>;
    i = take(shape, a, x, y, i, last_block, alpha, beta);
    scale.advance_to(i + lead);
    return i;
  }
  scale.up_to(std::int64_t{i} + lead + lines_a_block);
  const std::int32_t last_scaled = scale.done() - lead - lines_a_block;
  if (last_scaled < last_block) last_block = last_scaled > i ? last_scaled : i;
  const auto take =
      of_four ? take_lines_of_four<Form, false, T> : take_moving_lines<Form, false, T>;
  return take(shape, a, x, y, i, last_block, alpha, beta);
}

// Where a line of the grid ends: lines from i on one by one, a few at most, up to the next that may
// begin a block again. Those alone that are no longer and reach no further than a line of the shape
// would, so that y is scaled by one element a line. Answers the line behind them.
template <mirror_form Form, class T>
[[gnu::noinline]] std::int32_t take_lines_between(const moving_shape& shape,
                                                  const compressed_view<T>& a,
                                                  const T* x,
                                                  T* y,
                                                  std::int32_t i,
                                                  std::int32_t last_block,
                                                  const T& alpha,
                                                  late_scale<T>& scale) {
  constexpr std::int32_t most = 4;
  const std::int32_t offset = a.begin[0];
  const std::int32_t lead = lead_of<Form.side>(shape);
  const std::int32_t stop = last_block - i > most ? i + most : last_block;
  for (const std::int32_t from = i; i < stop; ++i) {
    const std::int32_t length = a.end[i] - a.begin[i];
    const std::int32_t* const indices = a.indices + (a.begin[i] - offset);
    const std::int32_t number = i + offset;
    if (length < 1 || length > shape.length) break;
    if (i > from && length == shape.length && indices[0] - number == shape.places[0] &&
        indices[length - 1] - number == shape.places[length - 1]) {
      break;
    }
    if (!scale.finished()) {
      if (scale.done() != std::int64_t{i} + lead) break;
      if constexpr (Form.side == triangle::upper) {
        std::int32_t room = 0;  // below zero where an index reaches further
#pragma clang loop vectorize(disable)
        for (std::int32_t k = 0; k < length; ++k) room |= number + lead - indices[k];
        if (room < 0) break;
      }
      scale.one_more();
    }
    sym_mv_line<Form>(alpha, a, x, y, i, offset);
  }
  return i;
}

// Lines of the shape from i on, and the few between them; answers the line behind.
template <mirror_form Form, class T>
NEVRAD_INLINE std::int32_t take_shaped_lines(const moving_shape& shape,
                                             const compressed_view<T>& a,
                                             const T* x,
                                             T* y,
                                             std::int32_t i,
                                             std::int32_t last_block,
                                             const T& alpha,
                                             late_scale<T>& scale) {
  while (true) {
    const std::int32_t from = i;
    const bool all =
        scale.finished() || scale.done() == std::int64_t{i} + lead_of<Form.side>(shape);
    i = take_shaped_blocks<Form>(shape, a, x, y, i, last_block, alpha, scale);
    if (i == from || i > last_block) return i;
    if (!all) continue;
    i = take_lines_between<Form>(shape, a, x, y, i, last_block, alpha, scale);
    if (a.end[i] - a.begin[i] != shape.length) return i;
  }
}

// Lines i to i + 3, if they are runs.
template <mirror_form Form, class T>
[[gnu::noinline]] bool take_run_lines(const T& alpha_at,
                                      const compressed_view<T>& a,
                                      const T* x,
                                      T* y,
                                      std::int32_t i,
                                      std::int32_t offset,
                                      late_scale<T>& scale) {
  constexpr origin from = origin::first_begin;
  run_lines<T> l;
  if (!find_runs<Form.side>(a, i, offset, l)) return false;
  scale.template for_lines<Form.side>(a, i, i + lines_a_block, offset);
  const T alpha = alpha_at;
  const lanes<T, 4> xi = load<4>(x + i);
  const lanes<T, 4> xa = multiply_fused(xi, detail::splat(alpha));
  const run_lines<T> mirrored = beyond_diagonal<Form.side>(l, i);
  const lanes<T, 4> acc = Form.ones == diagonal::unit ? run_sums<from>(mirrored, x, xi)
                                                      : run_sums<from>(l, x, zero_lanes<T, 4>());
  // No line of an upper triangle mirrors into a line before it, none of a lower one behind it.
  if constexpr (Form.side == triangle::upper) run_scatter(mirrored, y, xa);
  for (int r = 0; r < lines_a_block; ++r) {
    y[i + r] = line_result<Form>(y[i + r], T{acc.v[r]}, alpha);
  }
  if constexpr (Form.side == triangle::lower) run_scatter(mirrored, y, xa);
  return true;
}

// sym_mv_lines for real elements. `scale` sees to the elements of y that a line is the first to
// meet.
template <mirror_form Form, class T>
void sym_mv_real_lines(T alpha,
                       const compressed_view<T>& a,
                       const T* x,
                       T* y,
                       std::int32_t line_begin,
                       std::int32_t line_end,
                       late_scale<T> scale) {
  const std::int32_t offset = a.begin[0];
  const std::int32_t last_block = line_end - lines_a_block;
  constexpr std::int32_t most_scaled_at_once = 64;  // lines
  // To look how far a line alone reaches takes longer than the pass over y that is spared: so many
  // may come yet, and one more for every four lines in blocks.
  std::int32_t left_alone = most_scaled_at_once;
  moving_shape shape;
  const auto may_have_shape = [&](std::int32_t i) {
    return shape.length > 0 && a.end[i] - a.begin[i] == shape.length;
  };
  const auto may_be_block = [&](std::int32_t i) {
    return may_have_shape(i) || may_be_run(a, i) || may_be_learnt(shape, a, i, offset);
  };
  for (std::int32_t i = line_begin; i < line_end;) {
    if (i <= last_block) {
      if (may_have_shape(i)) {
        const std::int32_t from = i;
        i = take_shaped_lines<Form>(shape, a, x, y, i, last_block, alpha, scale);
        left_alone += (i - from) / 4;
        if (i != from) continue;
      }
      if (may_be_run(a, i) && take_run_lines<Form>(alpha, a, x, y, i, offset, scale)) {
        i += lines_a_block;
        continue;
      }
      if (may_be_learnt(shape, a, i, offset) &&
          learn_shape<kept_on(Form.side, Form.ones)>(a, i, offset, shape))
        continue;
    }
    const bool bounded = !scale.finished() && line_end - i > most_scaled_at_once;
    const std::int32_t stop = bounded ? i + most_scaled_at_once : line_end;
    std::int32_t next = i + 1;
    while (next < stop && next <= last_block && !may_be_block(next)) ++next;
    if (next > last_block) next = stop;
    if (Form.side == triangle::upper && !scale.finished()) {
      left_alone -= next - i;
      if (left_alone < 0) scale.finish();
    }
    scale.template for_lines<Form.side>(a, i, next, offset);
    sym_mv_single_lines<Form>(alpha, a, x, y, i, next);
    i = next;
  }
}

template <mirror_form Form, class T>
void sym_mv_lines(const T& alpha,
                  const compressed_view<T>& a,
                  const T* x,
                  T* y,
                  std::int32_t line_begin,
                  std::int32_t line_end) {
  if constexpr (is_complex<T>) {
    sym_mv_single_lines<Form>(alpha, a, x, y, line_begin, line_end);
  } else {
    sym_mv_real_lines<Form>(alpha, a, x, y, line_begin, line_end, late_scale<T>());
  }
}

// All lines, added to beta y.
template <mirror_form Form, class T>
void sym_mv_all_lines(T alpha, const compressed_view<T>& a, const T* x, T beta, T* y) {
  if constexpr (is_complex<T>) {
    dense_scale(a.rows, y, beta);
    sym_mv_single_lines<Form>(alpha, a, x, y, 0, a.rows);
  } else {
    sym_mv_real_lines<Form>(alpha, a, x, y, 0, a.rows, late_scale<T>(y, a.rows, beta));
  }
}

}  // namespace nevrad
