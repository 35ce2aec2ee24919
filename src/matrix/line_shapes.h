// Blocks of four neighbouring lines, one behind the other in memory, of which each is the line
// before moved on by one place, as inside of a grid: recognised by a shape that is learnt once and
// compared with each block.
#pragma once

#include "arith/shifted_lines.h"
#include "matrix/record.h"

namespace nevrad {

// Behind the parameters of a lambda: its captures stay in registers.
#define NEVRAD_INLINED __attribute__((always_inline))

inline constexpr std::int32_t lines_a_block = shifted_together;

// Longer lines are left to other kernels.
inline constexpr std::int32_t longest_shape = 64;

// What a block looks like. Most blocks of a grid look like the one before, so that one comparison
// with it tells all that is to be known.
struct line_shape {
  std::int32_t length = 0;     // of a line; 0 as long as none is known
  std::int32_t patience = 1;   // lines until the next look, after one in vain
  std::int64_t next_look = 0;  // no look at lines before this one
  std::int32_t places[lines_a_block * longest_shape];  // of all entries, from the block's number

  // Lines from i on move on, but cannot be taken. They are mostly followed by more of them, and a
  // look at each takes longer than the lines.
  void forget(std::int32_t i) {
    constexpr std::int32_t most_patience = 512;
    length = 0;
    if (patience < most_patience) patience *= 2;
    next_look = std::int64_t{i} + patience;
  }
  // Lines of `lines_length` indices whose first has the number `number`.
  void remember(const std::int32_t* indices, std::int32_t lines_length, std::int32_t number) {
    for (std::int32_t k = 0; k < lines_a_block * lines_length; ++k) places[k] = indices[k] - number;
    length = lines_length;
    patience = 1;
    next_look = 0;
  }
};

// Blocks of lines, one behind the other, and their comparison with a shape.
template <class T>
class shaped_blocks {
 public:
  // From line i on.
  NEVRAD_INLINE shaped_blocks(const line_shape& shape,
                              const compressed_matrix<T>& a,
                              std::int32_t i,
                              std::int32_t offset)
      : values(a.values + (a.begin[i] - offset)),
        indices(a.indices + (a.begin[i] - offset)),
        begin_(a.begin),
        end_(a.end),
        places_(shape.places),
        count_(lines_a_block * shape.length) {
    const auto length = static_cast<std::uint32_t>(shape.length);
    begins_ = detail::four_unsigned{0, 1, 2, 3} * length + static_cast<std::uint32_t>(a.begin[i]);
    ends_ = begins_ + length;
  }

  // Whether the block has the shape. Its first line is i and has the number `number`.
  NEVRAD_INLINE bool has_shape(std::int64_t i, std::int32_t number) const {
    using namespace detail;
    const four_unsigned moved =
        (load_as<four_unsigned>(end_ + i) ^ ends_) | (load_as<four_unsigned>(begin_ + i) ^ begins_);
    if (__builtin_reduce_or(moved) != 0) return false;
    const auto differ_at = [&](std::int64_t k) NEVRAD_INLINED {
      return (load_as<eight_unsigned>(indices + k) - static_cast<std::uint32_t>(number)) ^
             load_as<eight_unsigned>(places_ + k);
    };
    eight_unsigned differ = differ_at(count_ - 8);
#pragma clang loop unroll(disable)
    for (std::int64_t k = 0; k < count_ - 8; k += 8) differ |= differ_at(k);
    return __builtin_reduce_or(differ) == 0;
  }

  NEVRAD_INLINE void next() {
    values += count_;
    indices += count_;
    begins_ += static_cast<std::uint32_t>(count_);
    ends_ += static_cast<std::uint32_t>(count_);
  }

  const T* values;
  const std::int32_t* indices;

 private:
  const std::int32_t* begin_;
  const std::int32_t* end_;
  const std::int32_t* places_;
  std::int64_t count_;  // entries
  detail::four_unsigned begins_;
  detail::four_unsigned ends_;
};

// Whether line i and the next are as long as each other and as lines of a block, and one behind the
// other.
template <class T>
NEVRAD_INLINE bool may_have_shape(const compressed_matrix<T>& a, std::int32_t i) {
  const std::int32_t next = a.end[i];
  const std::int32_t length = next - a.begin[i];
  return length >= lines_a_block && length <= longest_shape && a.begin[i + 1] == next &&
         a.end[i + 1] - next == length;
}

// Whether lines i to i + 3, of which may_have_shape holds, are a block.
template <class T>
bool is_line_block(const compressed_matrix<T>& a, std::int32_t i, std::int32_t offset) {
  const std::int32_t length = a.end[i] - a.begin[i];
  for (int r = 2; r < lines_a_block; ++r) {
    if (a.begin[i + r] != a.end[i + r - 1] || a.end[i + r] - a.begin[i + r] != length) return false;
  }
  return lines_move_on(a.indices + (a.begin[i] - offset), length);
}

// Takes the shape of lines i to i + 3, of which may_have_shape holds, if they are a block whose
// lines ascend, no index twice. Bands and dense blocks are among them. Else the shape stays, or is
// none.
template <class T>
[[gnu::noinline]] bool learn_line_shape(const compressed_matrix<T>& a,
                                        std::int32_t i,
                                        std::int32_t offset,
                                        line_shape& shape) {
  const std::int32_t* const indices = a.indices + (a.begin[i] - offset);
  const std::int32_t length = a.end[i] - a.begin[i];
  if (!starts_one_on(indices, indices + length) || !is_line_block(a, i, offset)) return false;
  for (std::int32_t k = 1; k < length; ++k) {
    if (indices[k] > indices[k - 1]) continue;
    shape.forget(i);
    return false;
  }
  shape.remember(indices, length, i + offset);
  return true;
}

}  // namespace nevrad
