#include "sm/blocks.h"

#include "frame/regions.h"
#include "matrix/sorted_rows.h"

namespace nevrad {

namespace {

// Builds all blocks of one triangle. Rows and columns are counted in the direction of the
// substitution ("steps": from 0 in a lower triangle, from order - 1 down in an upper one), in which
// the two triangles are one: a block takes from each row, at its cursor, the entries whose step is
// neither beyond the block nor beyond the row's own.
template <triangle Side, class T>
class block_builder {
 public:
  block_builder(const compressed_matrix<T>& a,
                std::int32_t order,
                const row_facts& facts,
                std::int32_t* cursor,
                sm_blocks<T>& blocks)
      : a_(a),
        facts_(facts),
        order_(order),
        cursor_(cursor),
        blocks_(blocks),
        position_(lower ? 0 : csr_entries(a)) {
    place_blocks();
  }

  void build(triangle_form form) {
    if (form == triangle_form::by_length) {
      form = rows_pay() ? triangle_form::rows : triangle_form::listed_blocks;
    }
    if (form == triangle_form::rows && find_diagonals()) {
      blocks_.rows = &a_;
      return;
    }
    for (std::int32_t i = 0; i < order_; ++i) cursor_[i] = lower ? begin_of(i) : end_of(i);
    if (form != triangle_form::blocks) list_strip_rows();
    fill_blocks();
    place_slabs();
  }

 private:
  static constexpr bool lower = Side == triangle::lower;

  // Positions and columns from 0, whatever the matrix's base.
  std::int32_t begin_of(std::int32_t i) const { return a_.begin[i] - a_.base; }
  std::int32_t end_of(std::int32_t i) const { return a_.end[i] - a_.base; }
  std::int32_t column_of(std::int32_t entry) const { return a_.indices[entry] - a_.base; }

  std::int32_t step_of(std::int32_t i) const { return lower ? i : order_ - 1 - i; }
  std::int32_t row_at(std::int32_t step) const { return step_of(step); }
  std::int32_t first_step(std::int32_t b) const { return b * sm_block_size; }
  std::int32_t strip_length(std::int32_t b) const {
    return order_ - first_step(b) - blocks_.records[b].cols;
  }
  // Panels of this many slabs stay in cache by themselves; beyond it, blocks pay from this many
  // entries on that a row has in a block in the mean.
  static constexpr std::int32_t slabs_in_cache = 16;
  static constexpr std::int64_t long_row = 8;
  bool rows_pay() const {
    const std::int64_t pairs = std::int64_t{order_} * blocks_.count / 2;
    return blocks_.count <= slabs_in_cache || csr_entries(a_) < long_row * pairs;
  }

  // The words of a block that stand for rows of its strip.
  strip_row* list_of(std::int32_t b) const {
    std::int32_t* const begin = const_cast<std::int32_t*>(blocks_.records[b].begin);
    std::int32_t* const words =
        lower ? begin + blocks_.records[b].cols + 1 : begin - strip_length(b);
    return reinterpret_cast<strip_row*>(words);
  }

  // Block b owns one word for each row from its slab on, and one more.
  void place_blocks() {
    std::int32_t* words = blocks_.pointers.get();
    for (std::int32_t b = 0; b < blocks_.count; ++b) {
      const std::int32_t left = order_ - first_step(b);
      sm_block<T>& block = blocks_.records[b];
      block.values = blocks_.values.get();
      block.indices = blocks_.indices.get();
      block.cols = left < sm_block_size ? left : sm_block_size;
      block.first = lower ? first_step(b) : left - block.cols;
      block.begin = lower ? words : words + block.first;
      block.strip = nullptr;
      block.strip_rows = 0;
      block.reach = blocks_.count - 1;
      words += left + 1;
    }
  }

  // Finds every row's diagonal element, and how far rows reach. False when a row has none, or
  // several.
  bool find_diagonals() {
    blocks_.diagonals_at_end = facts_.diagonals_at_end;
    blocks_.reach = facts_.reach;
    return facts_.diagonals_at_end || find_inner_diagonals();
  }

  bool find_inner_diagonals() {
    std::int32_t reach = 0;
    for (std::int32_t i = 0; i < order_; ++i) {
      const std::int32_t first = begin_of(i);
      const std::int32_t last = end_of(i) - 1;
      std::int32_t d = lower ? last : first;
      while (first <= d && d <= last && step_of(column_of(d)) > step_of(i)) d += lower ? -1 : 1;
      if (d < first || d > last || column_of(d) != i) return false;
      const bool again =
          lower ? d > first && column_of(d - 1) == i : d < last && column_of(d + 1) == i;
      if (again) return false;
      blocks_.pointers[i] = d + a_.base;
      reach = farther(reach, i, lower ? first : last);
    }
    blocks_.reach = reach;
    return true;
  }

  std::int32_t farther(std::int32_t reach, std::int32_t i, std::int32_t entry) const {
    const std::int32_t across = step_of(i) - step_of(column_of(entry));
    return across > reach ? across : reach;
  }

  void fill_blocks() {
    for (std::int32_t b = 0; b < blocks_.count; ++b) {
      fill_slab(blocks_.records[b]);
      if (blocks_.records[b].strip != nullptr) {
        fill_listed(blocks_.records[b]);
      } else {
        fill_all(blocks_.records[b]);
      }
      const std::int32_t across = blocks_.records[b].reach - b + 1;
      if (across > slabs_) slabs_ = across;
    }
  }

  // Slabs take turns where fewer than all are in use at once; else the panel is the matrix's own.
  void place_slabs() {
    const bool turns = slabs_ < blocks_.count;
    blocks_.panel_rows = turns ? slabs_ * sm_block_size : order_;
    for (std::int32_t b = 0; b < blocks_.count; ++b) {
      sm_block<T>& block = blocks_.records[b];
      const std::int32_t turn = b % slabs_ * sm_block_size;
      const std::int32_t taking_turns = lower ? turn : blocks_.panel_rows - turn - block.cols;
      block.place = turns ? taking_turns : block.first;
    }
  }

  // Lists, for every block, the rows of its strip that have entries in it. A block whose list
  // outgrows its room goes without.
  void list_strip_rows() {
    for (std::int32_t step = sm_block_size; step < order_; ++step) {
      const std::int32_t i = row_at(step);
      const std::int32_t own = step & ~(sm_block_size - 1);
      std::int32_t seen = 0;  // steps below it have been attended to
      for (std::int32_t e = cursor_[i]; e != far_end(i); e += lower ? 1 : -1) {
        const std::int32_t at = step_of(column_of(entry_at(e)));
        if (at >= own) break;
        if (at < seen) continue;
        const std::int32_t b = at / sm_block_size;
        seen = first_step(b + 1);
        sm_block<T>& block = blocks_.records[b];
        if (block.strip_rows < strip_length(b) / 2) {
          list_of(b)[block.strip_rows].row = i - block.first;
        }
        ++block.strip_rows;
        block.reach = step / sm_block_size;
      }
    }
    for (std::int32_t b = 0; b < blocks_.count; ++b) {
      sm_block<T>& block = blocks_.records[b];
      if (block.strip_rows <= strip_length(b) / 2) {
        block.strip = list_of(b);
        if (block.strip_rows == 0) block.reach = b;
      } else {
        block.reach = blocks_.count - 1;
      }
    }
  }

  // A cursor stands at the next entry in a lower triangle, one behind it in an upper one.
  std::int32_t entry_at(std::int32_t cursor) const { return lower ? cursor : cursor - 1; }
  std::int32_t far_end(std::int32_t i) const { return lower ? end_of(i) : begin_of(i); }

  void take_entries(const sm_block<T>& block, std::int32_t limit, std::int32_t i) {
    const std::int32_t step = step_of(i);
    const std::int32_t stop = far_end(i);
    std::int32_t cursor = cursor_[i];
    for (; cursor != stop; cursor += lower ? 1 : -1) {
      const std::int32_t from = entry_at(cursor);
      const std::int32_t at = step_of(column_of(from));
      if (at >= limit || at > step) break;
      if (!lower) --position_;
      blocks_.values[position_] = at == step ? reciprocal(a_.values[from]) : a_.values[from];
      blocks_.indices[position_] = column_of(from) - block.first;
      if (lower) ++position_;
    }
    cursor_[i] = cursor;
  }

  std::int32_t limit_of(const sm_block<T>& block) const {
    return lower ? block.first + block.cols : order_ - block.first;
  }

  // Rows in the order of steps, each with its near bound written before and its far one after it.
  void fill_rows(const sm_block<T>& block, std::int32_t from_step, std::int32_t to_step) {
    std::int32_t* const begin = const_cast<std::int32_t*>(block.begin);
    const std::int32_t limit = limit_of(block);
    for (std::int32_t step = from_step; step < to_step; ++step) {
      const std::int32_t i = row_at(step);
      begin[i - block.first + (lower ? 0 : 1)] = position_;
      take_entries(block, limit, i);
      begin[i - block.first + (lower ? 1 : 0)] = position_;
    }
  }
  void fill_slab(const sm_block<T>& block) {
    const std::int32_t limit = limit_of(block);
    fill_rows(block, limit - block.cols, limit);
  }
  void fill_all(const sm_block<T>& block) { fill_rows(block, limit_of(block), order_); }

  void fill_listed(const sm_block<T>& block) {
    strip_row* const strip = const_cast<strip_row*>(block.strip);
    const std::int32_t limit = limit_of(block);
    for (std::int32_t k = 0; k < block.strip_rows; ++k) {
      take_entries(block, limit, block.first + strip[k].row);
      strip[k].bound = position_;
    }
  }

  const compressed_matrix<T>& a_;
  const row_facts& facts_;
  std::int32_t order_;
  std::int32_t* cursor_;
  sm_blocks<T>& blocks_;
  std::int32_t slabs_ = 1;  // in use at once
  std::int32_t position_;   // where the next entry goes, or in an upper triangle one behind it
};

template <triangle Side, class T>
status build_blocks(const compressed_matrix<T>& a,
                    std::int32_t order,
                    const row_facts& facts,
                    sm_blocks<T>& blocks,
                    triangle_form form) {
  const std::int32_t nnz = csr_entries(a);
  if (nnz == 0) return success;
  const std::uint64_t cursor_size = sizeof(std::int32_t) * static_cast<std::uint64_t>(order);
  const scratch<std::int32_t> cursor(rounded_aligned_alloc(cache_line, cursor_size));
  if (!cursor) return alloc_failed;
  const std::int32_t count = (a.cols - 1) / sm_block_size + 1;
  const status made = sm_block_storage_alloc(order, nnz, count, blocks);
  if (made != success) return made;
  block_builder<Side, T>(a, order, facts, cursor.get(), blocks).build(form);
  return success;
}

// What a range of rows tells of whether rows are what most triangles have: none empty, strictly
// ascending, and the diagonal element the one solved last.
//
// A step down from one row to the next stands next to a diagonal element, so a row's far entry
// tells of it; as many steps as those are none within rows. A step between two ranges counts in
// one and is told of by a row of the other, so that only their sum says something.
struct range_facts {
  bool plain;                  // as far as rows can tell
  std::int32_t steps_in_rows;  // steps down less those that rows tell of
  std::int32_t reach;
};

template <triangle Side, class T>
range_facts look_at_range(const compressed_matrix<T>& a, std::int32_t lo, std::int32_t hi) {
  constexpr bool lower = Side == triangle::lower;
  constexpr std::int32_t rows_in_cache = 1024;
  const std::int32_t base = a.base;
  const std::int32_t* const indices = a.indices;
  const std::int32_t* const end = a.end;
  std::int32_t steps = 0;
  std::int32_t farthest = 0;
  std::int32_t stop = lo == 0 ? 0 : end[lo - 1] - base;
  for (std::int32_t i = lo; i < hi;) {
    const std::int32_t to = hi - i < rows_in_cache ? hi : i + rows_in_cache;
    const std::int32_t last = end[to - 1] - base - 1;
    bool rising = end[i] - base > stop;
    for (std::int32_t k = i; k < to - 1; ++k) rising &= end[k] < end[k + 1];
    if (!rising || stop < 0 || last >= csr_entries(a)) return {};
    // The simple pass first: memory keeps up with it.
    for (std::int32_t p = stop > 0 ? stop - 1 : 0; p < last; ++p) {
      steps += indices[p] >= indices[p + 1] ? 1 : 0;
    }
    std::int32_t displaced = 0;
    for (; i < to; ++i) {
      const std::int32_t first = stop;
      stop = end[i] - base;
      const std::int32_t own = i + base;
      displaced |= indices[lower ? stop - 1 : first] ^ own;
      const std::int32_t across = lower ? own - indices[first] : indices[stop - 1] - own;
      steps -= across > 0 ? 1 : 0;
      farthest = across > farthest ? across : farthest;
    }
    if (displaced != 0) return {};
  }
  return {.plain = true, .steps_in_rows = steps, .reach = farthest};
}

template <triangle Side, class T>
bool rows_are_plain(const compressed_matrix<T>& a, int threads, std::int32_t& reach) {
  range_facts ranges[max_thread_budget];
  for_each_part_on_team(threads, [&](int t) {
    const static_block rows = block_of(a.rows, threads, t);
    ranges[t] = look_at_range<Side>(a, rows.first, rows.last);
  });
  std::int64_t steps = 0;
  reach = 0;
  for (int t = 0; t < threads; ++t) {
    if (!ranges[t].plain) return false;
    steps += ranges[t].steps_in_rows;
    if (ranges[t].reach > reach) reach = ranges[t].reach;
  }
  // The outermost row has no neighbour to step to.
  const std::int32_t outermost =
      Side == triangle::lower ? a.indices[0] : a.indices[a.end[a.rows - 1] - a.base - 1];
  return steps == 0 && outermost == (Side == triangle::lower ? 0 : a.rows - 1) + a.base;
}

template <triangle Side, class T>
row_facts look_at_any_rows(const compressed_matrix<T>& a) {
  constexpr bool lower = Side == triangle::lower;
  const std::int32_t base = a.base;
  const std::int32_t* const indices = a.indices;
  std::int32_t between_rows = 0;  // steps down from one row to the next are no fault
  std::int32_t reach = 0;
  bool at_end = true;
  std::int32_t first = 0;
  for (std::int32_t i = 0; i < a.rows; ++i) {
    const std::int32_t stop = a.end[i] - base;
    if (stop <= first) {
      if (stop < first) return {};
      at_end = false;
      continue;
    }
    const std::int32_t own = i + base;
    const std::int32_t from = indices[first];
    const std::int32_t to = indices[stop - 1];
    const std::int32_t across = lower ? own - from : to - own;
    reach = across > reach ? across : reach;
    at_end &= (lower ? to : from) == own;
    if (stop - first > 1) at_end &= indices[lower ? stop - 2 : first + 1] != own;
    if (first > 0) between_rows += indices[first - 1] > from ? 1 : 0;
    first = stop;
  }
  const bool ascending = count_descents(indices, first - 1) == between_rows;
  return {.ascending = ascending, .diagonals_at_end = ascending && at_end, .reach = reach};
}

}  // namespace

template <triangle Side, class T>
row_facts look_at_rows(const compressed_matrix<T>& a, int budget) {
  if (csr_entries(a) < 1 || a.begin[0] != a.base) return {};
  // Rows of a thread that are worth a region.
  constexpr std::int32_t share = 8192;
  const int threads = a.rows / share >= budget ? budget : 1;
  std::int32_t reach = 0;
  if (rows_are_plain<Side>(a, threads, reach)) {
    return {.ascending = true, .diagonals_at_end = true, .reach = reach};
  }
  return look_at_any_rows<Side>(a);
}

template <class T>
status sm_block_storage_alloc(std::int32_t order,
                              std::int32_t nnz,
                              std::int32_t block_count,
                              sm_blocks<T>& blocks) {
  const auto entries = static_cast<std::uint64_t>(nnz);
  scratch<std::int32_t> indices(rounded_aligned_alloc(cache_line, sizeof(std::int32_t) * entries));
  if (!indices) return alloc_failed;
  scratch<T> values(rounded_aligned_alloc(cache_line, sizeof(T) * entries));
  if (!values) return alloc_failed;

  const std::int64_t n = block_count;
  const std::int64_t words =
      n * (static_cast<std::int64_t>(order) + 1) - sm_block_size * ((n - 1) * n / 2);
  std::uint64_t size = 0;
  if (words > INT32_MAX) return alloc_failed;
  if (checked_multiply(sizeof(std::int32_t), static_cast<std::uint64_t>(words), &size) != success) {
    return alloc_failed;
  }
  // Not where large blocks come from: most of these pages are never touched.
  scratch<std::int32_t> pointers(plain_alloc(size));
  if (!pointers) return alloc_failed;
  scratch<sm_block<T>> records(
      plain_alloc(sizeof(sm_block<T>) * static_cast<std::uint64_t>(block_count)));
  if (!records) return alloc_failed;

  blocks.indices = static_cast<scratch<std::int32_t>&&>(indices);
  blocks.values = static_cast<scratch<T>&&>(values);
  blocks.pointers = static_cast<scratch<std::int32_t>&&>(pointers);
  blocks.records = static_cast<scratch<sm_block<T>>&&>(records);
  blocks.count = block_count;
  blocks.order = order;
  blocks.panel_rows = order;
  blocks.rows = nullptr;
  return success;
}

template <class T>
status sm_build_lower_blocks(const compressed_matrix<T>& a,
                             std::int32_t order,
                             const row_facts& facts,
                             sm_blocks<T>& blocks,
                             triangle_form form) {
  return build_blocks<triangle::lower>(a, order, facts, blocks, form);
}

template <class T>
status sm_build_upper_blocks(const compressed_matrix<T>& a,
                             std::int32_t order,
                             const row_facts& facts,
                             sm_blocks<T>& blocks,
                             triangle_form form) {
  return build_blocks<triangle::upper>(a, order, facts, blocks, form);
}

#define NEVRAD_INSTANTIATE(letter, T)                                                              \
  template status sm_block_storage_alloc(std::int32_t, std::int32_t, std::int32_t, sm_blocks<T>&); \
  template row_facts look_at_rows<triangle::lower>(const compressed_matrix<T>&, int);              \
  template row_facts look_at_rows<triangle::upper>(const compressed_matrix<T>&, int);              \
  template status sm_build_lower_blocks(const compressed_matrix<T>&, std::int32_t,                 \
                                        const row_facts&, sm_blocks<T>&, triangle_form);           \
  template status sm_build_upper_blocks(const compressed_matrix<T>&, std::int32_t,                 \
                                        const row_facts&, sm_blocks<T>&, triangle_form);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
