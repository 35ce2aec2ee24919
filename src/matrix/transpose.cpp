#include "matrix/transpose.h"

#include "arith/prefetch.h"
#include "arith/products.h"
#include "frame/regions.h"

#include <string.h>

namespace nevrad {

namespace {

// Source and result of one fill. The result's pointer array p has two entries more than lines:
// the next free slot of line c is kept in p[c + 1], which the fill moves on to the end of the line,
// so p ends up as the finished pointer array without a pass or an array of its own.
template <class T>
struct transposition {
  const compressed_matrix<T>& source;
  std::int32_t source_lines;
  owned_matrix<T>& result;
  std::int32_t result_lines;
  const std::int32_t* count;  // entries of each line of the result
};

template <class T>
using transposition_fill = void (*)(const transposition<T>& job);

// p[c + 1] = first slot of line c, p[c + 2] = one past its last.
template <class T>
void place_lines(const transposition<T>& job) {
  std::int32_t* const p = job.result.begin;
  p[1] = 0;
  for (std::int32_t c = 0; c < job.result_lines; ++c) p[c + 2] = p[c + 1] + job.count[c];
}

// Where an entry goes is fetched this many entries before. That pays from this many bytes of result
// on, which do not stay in the second-level cache, and from this many entries a line: fewer places
// at a time are left to the hardware.
constexpr std::int64_t fetched_ahead = 16;
constexpr std::int64_t fetched_from = std::int64_t{1} << 20;
constexpr std::int64_t fetched_line = 8;

// Sends the entries of source line i whose line `owned` names to that line. With Fetch, the
// positions up to fetched_ahead behind the line hold indices.
template <conjugation C, bool Fetch, class T, class Owned>
NEVRAD_INLINE void scatter_line(const transposition<T>& job, const Owned& owned, std::int32_t i) {
  const compressed_matrix<T>& source = job.source;
  const std::int32_t base = source.base;
  const std::int32_t* const indices = source.indices;
  const T* const values = source.values;
  std::int32_t* const next = job.result.begin + 1;
  std::int32_t* const to_indices = job.result.indices;
  T* const to_values = job.result.values;
  const std::int64_t last = source.end[i] - base;
  for (std::int64_t e = source.begin[i] - base; e < last; ++e) {
    if constexpr (Fetch) {
      const std::int32_t later = indices[e + fetched_ahead] - base;
      if (owned(later)) {
        prefetch_for_write(to_values + next[later]);
        prefetch_for_write(to_indices + next[later]);
      }
    }
    const std::int32_t c = indices[e] - base;
    if (!owned(c)) continue;
    const std::int32_t slot = next[c]++;
    to_indices[slot] = i;
    to_values[slot] = conj_if<C>(values[e]);
  }
}

// Source lines go in ascending order, so the lines of the result ascend. The positions below the
// number of entries hold indices, in whatever order the lines lie there: they have been counted.
template <conjugation C, class T, class Owned>
void scatter_entries(const transposition<T>& job, const Owned& owned) {
  const compressed_matrix<T>& source = job.source;
  const std::int64_t entries = source.end[job.source_lines - 1] - source.begin[0];
  constexpr std::int64_t entry_size = sizeof(T) + sizeof(std::int32_t);
  const bool fetched =
      entries * entry_size >= fetched_from && entries >= fetched_line * job.source_lines;
  const std::int64_t fetched_end = fetched ? entries - fetched_ahead + source.base : 0;
  for (std::int32_t i = 0; i < job.source_lines; ++i) {
    if (source.end[i] <= fetched_end) {
      scatter_line<C, true>(job, owned, i);
    } else {
      scatter_line<C, false>(job, owned, i);
    }
  }
}

template <class T>
void finish(const transposition<T>& job) {
  job.result.begin[0] = 0;
  job.result.base = 0;
  job.result.sorted = 1;
}

template <conjugation C, class T>
void fill_serial(const transposition<T>& job) {
  place_lines(job);
  scatter_entries<C>(job, [](std::int32_t) { return true; });
  finish(job);
}

// Each part reads all of the source and sends on the entries of its own lines of the result: one
// more read of the index array a thread buys a scatter without atomics or buffers.
template <conjugation C, class T>
void fill_parallel(const transposition<T>& job) {
  place_lines(job);
  const int parts = current_thread_budget();
  part_bounds bounds;
  partition_by_nnz(job.result.begin + 2, job.result_lines, parts, bounds.at);
  for_each_part_on_team(parts, [&](int part) {
    const std::int32_t first = bounds.at[part];
    const std::int32_t last = bounds.at[part + 1];
    scatter_entries<C>(job, [=](std::int32_t c) { return first <= c && c < last; });
  });
  finish(job);
}

// CSR and CSC differ in which dimension counts the lines, and in that a CSR source without entries
// is refused where a CSC one gives an empty result.
template <compression Kind, class T>
status transpose_with_fill(const compressed_matrix<T>& source,
                           owned_matrix<T>** out,
                           transposition_fill<T> fill) {
  constexpr bool by_rows = Kind == compression::rows;
  const std::int32_t source_lines = by_rows ? source.rows : source.cols;
  const std::int32_t result_lines = by_rows ? source.cols : source.rows;
  const std::int32_t nnz = by_rows ? csr_entries(source) : csc_entries(source);
  if (by_rows && nnz < 1) return invalid_value;

  const std::uint64_t count_size = sizeof(std::int32_t) * static_cast<std::uint64_t>(result_lines);
  const scratch<std::int32_t> count(rounded_aligned_alloc(cache_line, count_size));
  if (!count) return alloc_failed;
  owned_matrix<T>* result = nullptr;
  const status made = by_rows ? owned_csr_alloc(source.cols, source.rows, nnz, &result)
                              : owned_csc_alloc(source.cols, source.rows, nnz, &result);
  if (made != success) return made;

  memset(count.get(), 0, count_size);
  for (std::int32_t j = 0; j < nnz; ++j) ++count[source.indices[j] - source.base];
  fill({source, source_lines, *result, result_lines, count.get()});
  *out = result;
  return success;
}

template <class T>
void exchange_dimensions(const compressed_matrix<T>* source, compressed_matrix<T>* destination) {
  if (source == nullptr || destination == nullptr) return;
  const std::int32_t rows = source->rows;
  *destination = *source;
  destination->rows = source->cols;
  destination->cols = rows;
}

// The transposition of the exchanged record has the source's own dimensions.
template <compression Kind, class T>
status convert_with_fill(const compressed_matrix<T>* source,
                         owned_matrix<T>** out,
                         transposition_fill<T> fill) {
  if (source == nullptr || out == nullptr) return null_pointer;
  compressed_matrix<T> exchanged;
  exchange_dimensions(source, &exchanged);
  return transpose_with_fill<Kind>(exchanged, out, fill);
}

}  // namespace

template <class T>
status csr_transpose(const compressed_matrix<T>& source, owned_matrix<T>** out) {
  return transpose_with_fill<compression::rows>(source, out, fill_serial<conjugation::no, T>);
}
template <class T>
status csr_transpose_parallel(const compressed_matrix<T>& source, owned_matrix<T>** out) {
  return transpose_with_fill<compression::rows>(source, out, fill_parallel<conjugation::no, T>);
}
template <class T>
status csr_conj_transpose(const compressed_matrix<T>& source, owned_matrix<T>** out) {
  return transpose_with_fill<compression::rows>(source, out, fill_serial<conjugation::yes, T>);
}
template <class T>
status csr_conj_transpose_parallel(const compressed_matrix<T>& source, owned_matrix<T>** out) {
  return transpose_with_fill<compression::rows>(source, out, fill_parallel<conjugation::yes, T>);
}

template <class T>
status csc_transpose(const compressed_matrix<T>& source, owned_matrix<T>** out) {
  return transpose_with_fill<compression::columns>(source, out, fill_serial<conjugation::no, T>);
}
template <class T>
status csc_transpose_parallel(const compressed_matrix<T>& source, owned_matrix<T>** out) {
  return transpose_with_fill<compression::columns>(source, out, fill_parallel<conjugation::no, T>);
}
template <class T>
status csc_conj_transpose(const compressed_matrix<T>& source, owned_matrix<T>** out) {
  return transpose_with_fill<compression::columns>(source, out, fill_serial<conjugation::yes, T>);
}
template <class T>
status csc_conj_transpose_parallel(const compressed_matrix<T>& source, owned_matrix<T>** out) {
  return transpose_with_fill<compression::columns>(source, out, fill_parallel<conjugation::yes, T>);
}

template <class T>
status csr_sort_by_double_transpose(const compressed_matrix<T>& source, owned_matrix<T>** out) {
  scoped_matrix<T> transposed;
  const status made = csr_transpose(source, transposed.out());
  if (made != success) return made;
  return csr_transpose(*transposed, out);
}

template <class T>
status csc_to_csr(const compressed_matrix<T>* source, owned_matrix<T>** out) {
  return convert_with_fill<compression::rows>(source, out, fill_serial<conjugation::no, T>);
}
template <class T>
status csc_to_csr_parallel(const compressed_matrix<T>* source, owned_matrix<T>** out) {
  return convert_with_fill<compression::rows>(source, out, fill_parallel<conjugation::no, T>);
}
template <class T>
status csr_to_csc(const compressed_matrix<T>* source, owned_matrix<T>** out) {
  return convert_with_fill<compression::columns>(source, out, fill_serial<conjugation::no, T>);
}
template <class T>
status csr_to_csc_parallel(const compressed_matrix<T>* source, owned_matrix<T>** out) {
  return convert_with_fill<compression::columns>(source, out, fill_parallel<conjugation::no, T>);
}

template <class T>
void csc_view_as_csr(const compressed_matrix<T>* source, compressed_matrix<T>* destination) {
  exchange_dimensions(source, destination);
}
template <class T>
void csr_view_as_csc(const compressed_matrix<T>* source, compressed_matrix<T>* destination) {
  exchange_dimensions(source, destination);
}

#define NEVRAD_INSTANTIATE(letter, T)                                                           \
  template status csr_transpose(const compressed_matrix<T>&, owned_matrix<T>**);                \
  template status csr_transpose_parallel(const compressed_matrix<T>&, owned_matrix<T>**);       \
  template status csc_transpose(const compressed_matrix<T>&, owned_matrix<T>**);                \
  template status csc_transpose_parallel(const compressed_matrix<T>&, owned_matrix<T>**);       \
  template status csr_sort_by_double_transpose(const compressed_matrix<T>&, owned_matrix<T>**); \
  template status csc_to_csr(const compressed_matrix<T>*, owned_matrix<T>**);                   \
  template status csc_to_csr_parallel(const compressed_matrix<T>*, owned_matrix<T>**);          \
  template status csr_to_csc(const compressed_matrix<T>*, owned_matrix<T>**);                   \
  template status csr_to_csc_parallel(const compressed_matrix<T>*, owned_matrix<T>**);          \
  template void csc_view_as_csr(const compressed_matrix<T>*, compressed_matrix<T>*);            \
  template void csr_view_as_csc(const compressed_matrix<T>*, compressed_matrix<T>*);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

#define NEVRAD_INSTANTIATE(letter, T)                                                          \
  template status csr_conj_transpose(const compressed_matrix<T>&, owned_matrix<T>**);          \
  template status csr_conj_transpose_parallel(const compressed_matrix<T>&, owned_matrix<T>**); \
  template status csc_conj_transpose(const compressed_matrix<T>&, owned_matrix<T>**);          \
  template status csc_conj_transpose_parallel(const compressed_matrix<T>&, owned_matrix<T>**);
NEVRAD_FOR_EACH_COMPLEX(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
