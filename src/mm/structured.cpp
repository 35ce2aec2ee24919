#include "mm/structured.h"

namespace nevrad {

namespace {

template <class T>
bool any_null(const compressed_matrix<T>* a, const mm_operands<T>& dense, const structure<T>& how) {
  return a == nullptr || dense.b == nullptr || dense.c == nullptr || how.expand == nullptr ||
         how.gate == nullptr;
}

template <class T>
status expand_and_multiply(const compressed_matrix<T>& a,
                           const mm_operands<T>& dense,
                           const structure<T>& how) {
  status result = success;
  const expansion_form form = form_of(how.expand);
  const bool by_columns = how.gate == mm_cols_sorted<T>;
  const dense_layout layout = by_columns ? dense_layout::column_major : dense_layout::row_major;
  const taken which = how.side == triangle::lower ? taken::lower : taken::upper;
  if (form.image != entry_use::none && (by_columns || how.gate == mm_rows_sorted<T>) &&
      multiply_held_lines<T>({a, form, which, how.ones}, layout, dense, &result)) {
    return result;
  }
  scoped_matrix<T> expanded;
  result = how.expand(a, how.side, how.ones, expanded.out());
  return result != success ? result : how.gate(*expanded, dense);
}

}  // namespace

template <class T>
status mm_structured(const compressed_matrix<T>* a,
                     const mm_operands<T>& dense,
                     const structure<T>& how) {
  if (any_null(a, dense, how)) return null_pointer;
  return expand_and_multiply(*a, dense, how);
}

template <class T>
status mm_structured_view(const compressed_matrix<T>* a,
                          const mm_operands<T>& dense,
                          const structure<T>& how) {
  if (any_null(a, dense, how)) return invalid_value;
  compressed_matrix<T> view;
  csc_view_as_csr(a, &view);
  return expand_and_multiply(view, dense, how);
}

template <class T>
status mm_structured_converted(const compressed_matrix<T>* a,
                               const mm_operands<T>& dense,
                               const structure<T>& how) {
  if (any_null(a, dense, how)) return invalid_value;
  scoped_matrix<T> converted;
  const status result = csc_to_csr(a, converted.out());
  return result != success ? result : expand_and_multiply(*converted, dense, how);
}

#define NEVRAD_INSTANTIATE_ONE(name, T) \
  template status name(const compressed_matrix<T>*, const mm_operands<T>&, const structure<T>&);
#define NEVRAD_INSTANTIATE(letter, T)           \
  NEVRAD_INSTANTIATE_ONE(mm_structured, T)      \
  NEVRAD_INSTANTIATE_ONE(mm_structured_view, T) \
  NEVRAD_INSTANTIATE_ONE(mm_structured_converted, T)
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#undef NEVRAD_INSTANTIATE_ONE

}  // namespace nevrad
