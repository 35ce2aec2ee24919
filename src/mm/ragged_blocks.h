// Blocks of four neighbouring rows that would move on as those inside of a grid do, were it not for
// entries that some of them lack, as where lines of a grid end: learnt, and recognised where they
// come again.
#pragma once

#include "mm/shape_parts.h"

namespace nevrad {

// A block whose rows have the places of all of them together. Where a row has none, nothing is
// added: its value is -0 and what it meets, by a mask, 0, so that any sum stays what it is.
template <class T>
class ragged_block {
 public:
  static constexpr std::int32_t longest = 32;
  using mask = std::conditional_t<is_single<T>, std::uint32_t, std::uint64_t>;

  std::int32_t length = 0;             // in places; 0 as long as none is known
  std::int32_t places[longest];        // from the row's number on
  mask kept[longest * lines_a_block];  // all ones where a row has an entry, else 0
  shape_parts parts;

  // Whether it is what begins with row i.
  NEVRAD_INLINE bool is_at(const compressed_matrix<T>& a, std::int32_t i) const {
    using namespace detail;
    if (length == 0) return false;
    const std::int32_t first = a.begin[i];
    const four_unsigned moved =
        (load_as<four_unsigned>(a.begin + i) ^ (begins_ + static_cast<std::uint32_t>(first))) |
        (load_as<four_unsigned>(a.end + i) ^ (ends_ + static_cast<std::uint32_t>(first)));
    if (__builtin_reduce_or(moved) != 0) return false;
    const std::int32_t* const indices = a.indices + (first - a.base);
    const auto number = static_cast<std::uint32_t>(i + a.base);
    const auto differ_at = [&](std::int64_t k) NEVRAD_INLINED {
      return (load_as<eight_unsigned>(indices + k) - number) ^ load_as<eight_unsigned>(met_ + k);
    };
    eight_unsigned differ = differ_at(entries_ - 8);
#pragma clang loop unroll(disable)
    for (std::int64_t k = 0; k < entries_ - 8; k += 8) differ |= differ_at(k);
    return __builtin_reduce_or(differ) == 0;
  }

  // Takes the block that begins with row i, if its rows ascend, no index twice, and have most of
  // the places.
  bool learn(const compressed_matrix<T>& a, std::int32_t i) {
    length = 0;
    const std::int32_t first = a.begin[i];
    std::int32_t next[lines_a_block];
    for (std::int32_t r = 0; r < lines_a_block; ++r) {
      const std::int32_t entries = a.end[i + r] - a.begin[i + r];
      if (entries < 1 || entries > longest) return false;
      if (r > 0 && a.begin[i + r] != a.end[i + r - 1]) return false;
      next[r] = a.begin[i + r] - first;
      begins_[r] = static_cast<std::uint32_t>(next[r]);
      ends_[r] = static_cast<std::uint32_t>(next[r] + entries);
    }
    entries_ = a.end[i + lines_a_block - 1] - first;
    if (entries_ < 8) return false;
    const std::int32_t* const indices = a.indices + (first - a.base);
    for (std::int32_t k = 0; k < entries_; ++k) met_[k] = indices[k] - (i + a.base);
    std::int32_t found = 0;
    lacking_ = 0;
    for (std::int32_t done = 0; done < entries_; ++found) {
      if (found == longest) return false;
      std::int32_t place = INT32_MAX;
      for (std::int32_t r = 0; r < lines_a_block; ++r) {
        if (next[r] < stop_of(r)) place = std::min(place, met_[next[r]] - r);
      }
      if (found > 0 && place <= places[found - 1]) return false;
      places[found] = place;
      for (std::int32_t r = 0; r < lines_a_block; ++r) {
        const bool has = next[r] < stop_of(r) && met_[next[r]] - r == place;
        const std::int32_t slot = found * lines_a_block + r;
        kept[slot] = has ? ~mask{0} : mask{0};
        if (has) {
          slots_[next[r]++] = static_cast<std::int16_t>(slot);
          ++done;
        } else {
          lacking_slots_[lacking_++] = static_cast<std::int16_t>(slot);
        }
      }
    }
    const std::int32_t all = found * lines_a_block;
    if (entries_ == all || entries_ * 2 < all) return false;
    length = found;
    parts.row_stop = 0;
    return true;
  }

  // Whether no place lies outside of the columns.
  bool is_inside(const compressed_matrix<T>& a, std::int32_t i) const {
    return i + places[0] >= 0 && places[length - 1] <= a.cols - lines_a_block - i;
  }

  // Finds the parts from row i on. A row that has nothing of a part would need a sum of its own:
  // then row_stop is i.
  void find_parts(const block_bounds& bounds, std::int32_t i) {
    parts.find(places, length, bounds, i);
    std::int32_t place = 0;
    std::int32_t step = 0;
    for (std::int32_t p = 0; p < parts.count; ++p) {
      mask any[lines_a_block] = {};
      for (; step < parts.at[p].stop; ++step) {
        for (std::int32_t k = 0; k < parts.entries[step]; ++k, ++place) {
          for (std::int32_t r = 0; r < lines_a_block; ++r) {
            any[r] |= kept[place * lines_a_block + r];
          }
        }
      }
      for (const mask row : any) {
        if (row == 0) parts.row_stop = i;
      }
    }
  }

  // The values of the block that begins with row i, by places.
  void spread(const compressed_matrix<T>& a, std::int32_t i, T* to) const {
    const T* const values = a.values + (a.begin[i] - a.base);
    for (std::int32_t k = 0; k < entries_; ++k) to[slots_[k]] = values[k];
    for (std::int32_t k = 0; k < lacking_; ++k) to[lacking_slots_[k]] = -T{};
  }

 private:
  std::int32_t stop_of(std::int32_t r) const { return static_cast<std::int32_t>(ends_[r]); }

  std::int32_t entries_ = 0;
  std::int32_t met_[lines_a_block * longest];    // by all entries, from the block's number on
  std::int16_t slots_[lines_a_block * longest];  // among the values by places, of all entries
  std::int32_t lacking_ = 0;
  std::int16_t lacking_slots_[lines_a_block * longest];
  detail::four_unsigned begins_;  // of the rows, from the first entry
  detail::four_unsigned ends_;
};

// Those that came last.
template <class T>
class ragged_blocks {
 public:
  // The one that begins with row i, if any; rows i to i + 3 must be there.
  ragged_block<T>* find(const compressed_matrix<T>& a, std::int32_t i) {
    if (i == row_) return found_;
    row_ = i;
    found_ = nullptr;
    const std::uint32_t lengths = lengths_of(a, i);
    for (std::int32_t k = 0; k < known_; ++k) {
      if (lengths_[k] != lengths || !block_[k].is_at(a, i)) continue;
      credit_ = std::min(credit_ + 1, most * hits_a_look);
      seen_[k] = i;
      found_ = &block_[k];
      break;
    }
    return found_;
  }

  bool may_be_learnt() const { return credit_ >= hits_a_look; }

  // In place of the one that has not come for longest.
  ragged_block<T>* learn(const compressed_matrix<T>& a, std::int32_t i) {
    credit_ -= hits_a_look;
    std::int32_t k = known_;
    if (known_ == most) {
      k = 0;
      for (std::int32_t other = 1; other < most; ++other) {
        if (seen_[other] < seen_[k]) k = other;
      }
    } else {
      ++known_;
    }
    const bool learnt = block_[k].learn(a, i);
    lengths_[k] = learnt ? lengths_of(a, i) : 0;
    seen_[k] = learnt ? i : -1;
    row_ = i;
    found_ = learnt ? &block_[k] : nullptr;
    return found_;
  }

 private:
  // Lines of a grid end in any of four rows of a block, and near its faces they differ.
  static constexpr std::int32_t most = 20;
  // What is learnt and does not come again takes longer than its rows one by one. So after the
  // first ones, a look costs what has been gained by those that came again.
  static constexpr std::int32_t hits_a_look = 16;

  // Of rows, which is what blocks mostly differ by.
  static std::uint32_t lengths_of(const compressed_matrix<T>& a, std::int32_t i) {
    std::uint32_t lengths = 0;
    for (std::int32_t r = 0; r < lines_a_block; ++r) {
      const std::int32_t length = a.end[i + r] - a.begin[i + r];
      lengths = lengths << 8 | static_cast<std::uint32_t>(length);
    }
    return lengths;
  }

  std::int64_t row_ = -1;  // the last that was asked for, and what was found
  ragged_block<T>* found_ = nullptr;
  std::int32_t known_ = 0;
  std::int32_t credit_ = most * hits_a_look;
  std::uint32_t lengths_[most];
  std::int32_t seen_[most];  // the row at which each came last
  ragged_block<T> block_[most];
};

}  // namespace nevrad
