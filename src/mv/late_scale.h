// Scaling of y where its elements are first met, which spares a pass over it.
#pragma once

#include "arith/dense.h"
#include "matrix/record.h"
#include "mv/index_runs.h"

namespace nevrad {

// y_i *= beta, once for each of `rows` elements, in ascending order, before anything is added to
// it.
template <class T>
class late_scale {
 public:
  late_scale() = default;  // nothing to be scaled
  late_scale(T* y, std::int32_t rows, T beta) : y_(y), rows_(rows), done_(0), beta_(beta) {}

  // So many have been scaled, or need not be.
  std::int32_t done() const { return done_; }

  bool finished() const { return done_ >= rows_; }
  T factor() const { return beta_; }

  // The caller has scaled them.
  void advance_to(std::int32_t count) { done_ = count; }

  // The next element, of which there is one.
  NEVRAD_INLINE void one_more() {
    dense_scale(1, y_ + done_, beta_);
    ++done_;
  }

  // Before any of the first `count` is met.
  NEVRAD_INLINE void up_to(std::int64_t count) {
    if (count > done_) scale_to(count);
  }

  void finish() { up_to(rows_); }

  // Before lines line_begin to line_end - 1 add to their own elements and to those at their indices
  // on the side.
  template <triangle Side>
  NEVRAD_INLINE void for_lines(const compressed_view<T>& a,
                               std::int32_t line_begin,
                               std::int32_t line_end,
                               std::int32_t offset) {
    if (finished()) return;
    if constexpr (Side == triangle::upper) {
      up_to(reach_of(a, line_begin, line_end, offset));
    } else {
      up_to(line_end);
    }
  }

 private:
  // One behind the last element that the lines may meet.
  static std::int32_t reach_of(const compressed_view<T>& a,
                               std::int32_t line_begin,
                               std::int32_t line_end,
                               std::int32_t offset) {
    using eight = detail::vector_of<std::int32_t, 8>::type;
    std::int32_t most = line_end - 1 + offset;
    eight most_of_eight = {most, most, most, most, most, most, most, most};
    for (std::int32_t i = line_begin; i < line_end; ++i) {
      const std::int32_t* const indices = a.indices + (a.begin[i] - offset);
      const std::int32_t length = a.end[i] - a.begin[i];
      if (length >= 8) {
        for (std::int32_t k = 0; k < length; k += 8) {
          const std::int32_t from = k + 8 <= length ? k : length - 8;
          most_of_eight =
              __builtin_elementwise_max(most_of_eight, detail::load_as<eight>(indices + from));
        }
      } else {
        for (std::int32_t k = 0; k < length; ++k) most = indices[k] > most ? indices[k] : most;
      }
    }
    const std::int32_t of_eight = __builtin_reduce_max(most_of_eight);
    return (of_eight > most ? of_eight : most) - offset + 1;
  }

  [[gnu::noinline]] void scale_to(std::int64_t count) {
    const std::int32_t to = count < rows_ ? static_cast<std::int32_t>(count) : rows_;
    dense_scale(to - done_, y_ + done_, beta_);
    done_ = to;
  }

  T* y_ = nullptr;
  std::int32_t rows_ = 0;
  std::int32_t done_ = INT32_MAX;
  T beta_{};
};

}  // namespace nevrad
