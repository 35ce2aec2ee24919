// How drivers cut their work. All results are boundaries: part t owns the items from bounds[t] up
// to but excluding bounds[t + 1].
#pragma once

#include "frame/budget.h"

namespace nevrad {

// Boundaries on a driver's stack, sized for the largest budget.
struct part_bounds {
  std::int32_t at[max_thread_budget + 1];
};

// The block of one thread in a static loop without a chunk size: the first count mod team threads
// take one item more, as the runtime deals them out.
struct static_block {
  std::int32_t first;
  std::int32_t last;
};
static_block block_of(std::int32_t count, int team, int thread);

// The smallest position p in low to high with array[p] not below key, or high when all are below.
// The array is non-decreasing.
std::int32_t lower_bound(const std::int32_t* array,
                         std::int32_t low,
                         std::int32_t high,
                         std::int32_t key);
std::int32_t lower_bound_wide(const std::int64_t* array,
                              std::int32_t low,
                              std::int32_t high,
                              std::int64_t key);

// Cuts n lines into parts of about equal entry count. cumulative[i] counts the entries of lines 0
// to i, plus a constant. Where the cuts must not depend on it, it is told as `base`. A line on a
// cut goes to the part behind it; a part may be empty; the remainder of the division goes to the
// last part. Called from serial code: may open a region.
void partition_by_nnz(const std::int32_t* cumulative,
                      std::int32_t n,
                      std::int32_t parts,
                      std::int32_t* bounds,
                      std::int32_t base = 0);
void partition_by_nnz_wide(const std::int64_t* cumulative,
                           std::int32_t n,
                           std::int32_t parts,
                           std::int32_t* bounds);

// Cuts count items into at most `parts` chunks whose lengths are multiples of 4, but for the last.
// Returns the number of chunks; bounds beyond them stay unwritten.
std::int32_t partition_by_fours(std::int32_t count, std::int32_t parts, std::int32_t* bounds);

// Cuts count items into parts of count / parts items each, the rest going to the last.
void partition_evenly(std::int32_t count, std::int32_t parts, std::int32_t* bounds);

}  // namespace nevrad
