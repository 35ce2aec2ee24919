#include "frame/dispatched_chunks.h"
#include "mv/column_blocks.h"
#include "mv/symmetric.h"
#include "mv/symmetric_lines.h"
#include "mv/thread_vectors.h"
#include "mv/vectors.h"

namespace nevrad {

namespace {

// v_c += alpha (a_c . x), v += alpha x_c a_c over the kept side of column c: mirrored terms in a
// first sweep, gathered ones in a second. The diagonal comes ahead of both; ones were added to y
// beforehand.
template <sym_mode Mode, diagonal Ones, class T>
void sym_mv_column(const compressed_view<T>& a, std::int32_t c, const T* x, T* v, T alpha) {
  const auto [segment, on_diagonal] = kept_of_column<side_of(Mode), Ones>(a, c);
  if (on_diagonal != nullptr) {
    const T element = conj_if<terms_of(Mode).diagonal>(*on_diagonal);
    v[c] = multiply_add(v[c], multiply_fused(element, alpha), x[c]);
  }
  if (segment.empty()) return;
  scatter_segment<terms_of(Mode).mirror>(a, segment, v, multiply_fused(x[c], alpha));
  v[c] = multiply_add(v[c], alpha, gather_segment<terms_of(Mode).gather>(a, segment, x));
}

// Columns first to last - 1, for one thread after the other range.
template <sym_mode Mode, diagonal Ones, class T>
class column_worker {
 public:
  column_worker(const compressed_view<T>& a, const T* x, T* v, const T& alpha)
      : a_(a), x_(x), v_(v), alpha_(alpha) {}

  [[gnu::noinline]] void operator()(std::int32_t first, std::int32_t last) {
    const auto one_column = [&](std::int32_t c) {
      sym_mv_column<Mode, Ones>(a_, c, x_, v_, alpha_);
    };
    if constexpr (is_complex<T>) {
      for (std::int32_t c = first; c < last; ++c) one_column(c);
    } else {
      sym_mv_columns_in_blocks<Mode, Ones>(a_, first, last, x_, v_, alpha_, known_, one_column);
    }
  }

 private:
  const compressed_view<T>& a_;
  const T* x_;
  T* v_;
  const T& alpha_;
  column_shapes known_;
};

// Chunks of columns of about equal work, each of whole eights but for the end: a thread that is
// through with an eight might have drawn the next by itself, but every draw costs as much as many
// entries, above all from a runtime that checks itself.
class column_chunks {
 public:
  template <class T>
  column_chunks(const compressed_view<T>& a, int threads) {
    constexpr int chunks_a_thread = 32;
    const int most =
        threads < most_chunks / chunks_a_thread ? threads * chunks_a_thread : most_chunks;
    const auto work = [&](std::int32_t first, std::int32_t count) NEVRAD_INLINED {
      constexpr std::int32_t of_column = 8;  // beside its entries
      std::int64_t sum = std::int64_t{of_column} * count;
      for (std::int32_t k = 0; k < count; ++k) {
        const std::int32_t length = a.end[first + k] - a.begin[first + k];
        sum += length > 0 ? length : 0;
      }
      return sum;
    };
    const std::int64_t share = work(0, a.rows) / most + 1;
    std::int64_t done = 0;
    std::int64_t due = share;
    for (std::int32_t c = 0; c < a.rows;) {
      const std::int32_t count = a.rows - c < eight ? a.rows - c : eight;
      done += count == eight ? work(c, eight) : work(c, count);
      c += count;
      if (done < due && c < a.rows) continue;
      bounds_[++count_] = c;
      due = (done / share + 1) * share;
    }
  }

  std::int32_t count() const { return count_; }
  const std::int32_t* bounds() const { return bounds_; }

 private:
  static constexpr int most_chunks = 1024;
  static constexpr std::int32_t eight = 8;

  std::int32_t count_ = 0;
  std::int32_t bounds_[most_chunks + 1] = {};
};

// Columns are handed out in ascending order, but in a Hermitian lower triangle from the last down.
template <sym_mode Mode, diagonal Ones, class T>
void for_each_column_on_team(int budget,
                             const compressed_view<T>& a,
                             const T* x,
                             const thread_vectors<T>& vectors,
                             const T& alpha) {
  constexpr bool descending = side_of(Mode) == triangle::lower && is_hermitian(Mode);
  const auto worker = [&](int thread) {
    return column_worker<Mode, Ones, T>(a, x, vectors[thread], alpha);
  };
  const auto one_column = [&](int thread, std::int32_t c) {
    sym_mv_column<Mode, Ones>(a, c, x, vectors[thread], alpha);
  };
  if constexpr (descending) {
    const auto from_last = [&](int thread, std::int32_t i) { one_column(thread, a.rows - 1 - i); };
    for_each_dispatched_on_team<dispatch::guided, 1>(budget, a.rows, from_last);
  } else if (budget < 2) {
    worker(0)(0, a.rows);
  } else if constexpr (side_of(Mode) == triangle::upper) {
    for_each_dispatched_on_team<dispatch::guided, 1>(budget, a.rows, one_column);
  } else {
    const column_chunks chunks(a, budget);
    for_each_dispatched_chunk_on_team(budget, chunks.count(), chunks.bounds(), worker);
  }
}

}  // namespace

template <sym_mode Mode, diagonal Ones, class T>
status sym_mv_columns_driver(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  const int budget = current_thread_budget();
  const std::int32_t rows = a.rows;
  prepare_y_on_team<Ones>(budget, rows, x, y, alpha, beta);
  const thread_vectors<T> vectors = thread_vectors_alloc<T>(budget, rows);
  if (!vectors) return alloc_failed;
  for_each_column_on_team<Mode, Ones>(budget, a, x, vectors, alpha);
  add_thread_vectors(budget, rows, y, vectors);
  return success;
}

template <sym_mode Mode, diagonal Ones, class T>
status sym_mv_short_columns(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  if (current_thread_budget() >= 2) {
    return sym_mv_columns_driver<Mode, Ones>(a, x, y, alpha, beta);
  }
  sym_mv_all_lines<column_form(Mode, Ones)>(alpha, a, x, beta, y);
  return success;
}

#define NEVRAD_INSTANTIATE_FORM(T, mode, ones)                                                     \
  template status sym_mv_columns_driver<sym_mode::mode, diagonal::ones>(const compressed_view<T>&, \
                                                                        const T*, T*, T, T);       \
  template status sym_mv_short_columns<sym_mode::mode, diagonal::ones>(const compressed_view<T>&,  \
                                                                       const T*, T*, T, T);
#define NEVRAD_INSTANTIATE_MODE(T, mode)   \
  NEVRAD_INSTANTIATE_FORM(T, mode, stored) \
  NEVRAD_INSTANTIATE_FORM(T, mode, unit)
#define NEVRAD_INSTANTIATE(letter, T)         \
  NEVRAD_INSTANTIATE_MODE(T, symmetric_upper) \
  NEVRAD_INSTANTIATE_MODE(T, symmetric_lower)
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

#define NEVRAD_INSTANTIATE(letter, T)                    \
  NEVRAD_INSTANTIATE_MODE(T, symmetric_upper_conjugated) \
  NEVRAD_INSTANTIATE_MODE(T, symmetric_lower_conjugated) \
  NEVRAD_INSTANTIATE_MODE(T, hermitian_upper)            \
  NEVRAD_INSTANTIATE_MODE(T, hermitian_lower)            \
  NEVRAD_INSTANTIATE_MODE(T, hermitian_upper_transposed) \
  NEVRAD_INSTANTIATE_MODE(T, hermitian_lower_transposed)
NEVRAD_FOR_EACH_COMPLEX(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#undef NEVRAD_INSTANTIATE_MODE
#undef NEVRAD_INSTANTIATE_FORM

}  // namespace nevrad
