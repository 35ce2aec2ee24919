// The columns of one row of a product, in ascending order, for the cost of those that occur.
#pragma once

#include "arith/products.h"

#include <string.h>

namespace nevrad {

// A tree of bits of three levels: a bit of the leaves stands for a column, a bit above them for a
// word that is not empty. Inserting touches one word, and the levels above only where that was
// empty; taking all columns out visits the words that hold some, and leaves the set empty. The top
// is walked whole: a word for 262144 columns.
class column_set {
 public:
  using word = std::uint64_t;

  // A narrow set keeps its words itself; a wide one takes them from `memory`, one int32 for each
  // column, which is more than it needs.
  column_set(std::int32_t cols, std::int32_t* memory) {
    leaves_ = words_for(cols);
    inner_ = words_for(leaves_);
    top_words_ = words_for(inner_);
    word* const from = cols <= own_columns ? own_ : aligned(memory);
    const std::int64_t total = leaves_ + inner_ + top_words_;
    memset(from, 0, static_cast<std::uint64_t>(total) * sizeof(word));
    leaf_ = from;
    inside_ = leaf_ + leaves_;
    top_ = inside_ + inner_;
  }
  column_set(const column_set&) = delete;
  column_set& operator=(const column_set&) = delete;
  ~column_set() = default;

  NEVRAD_INLINE void insert(std::int32_t column) {
    const auto c = static_cast<std::uint32_t>(column);
    word& leaf = leaf_[c / bits];
    const word before = leaf;
    leaf = before | bit(c);
    if (before == 0) {
      inside_[c / bits / bits] |= bit(c / bits);
      top_[c / bits / bits / bits] |= bit(c / bits / bits);
    }
  }

  // Calls take(column) in ascending order until it answers false. The set is empty afterwards, if
  // it was not stopped.
  template <class Take>
  NEVRAD_INLINE bool take_all(const Take& take) {
    for (std::int64_t t = 0; t < top_words_; ++t) {
      for (word high = top_[t]; high != 0; high &= high - 1) {
        const std::int64_t i = t * bits + lowest(high);
        for (word middle = inside_[i]; middle != 0; middle &= middle - 1) {
          const std::int64_t l = i * bits + lowest(middle);
          for (word low = leaf_[l]; low != 0; low &= low - 1) {
            if (!take(static_cast<std::int32_t>(l * bits + lowest(low)))) return false;
          }
          leaf_[l] = 0;
        }
        inside_[i] = 0;
      }
      top_[t] = 0;
    }
    return true;
  }

 private:
  static constexpr int bits = 64;
  static constexpr int own_columns = 1024;

  static constexpr std::int64_t words_for(std::int64_t n) { return (n + bits - 1) / bits; }
  static word bit(std::uint32_t n) { return word{1} << (n % bits); }
  static int lowest(word w) { return __builtin_ctzll(w); }
  static word* aligned(void* memory) {
    const auto address = reinterpret_cast<std::uintptr_t>(memory);
    return reinterpret_cast<word*>((address + sizeof(word) - 1) / sizeof(word) * sizeof(word));
  }

  std::int64_t leaves_;
  std::int64_t inner_;
  std::int64_t top_words_;
  word* leaf_;
  word* inside_;
  word* top_;
  word own_[own_columns / bits + 2];
};

}  // namespace nevrad
