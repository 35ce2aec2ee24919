#include "frame/partition.h"

#include "frame/regions.h"

#include <type_traits>

namespace nevrad {

namespace {

template <class I>
std::int32_t first_not_below(const I* array,
                             std::int32_t low,
                             std::int32_t high,
                             std::int64_t key) {
  while (high > low) {
    const std::int32_t mid = low + (high - low) / 2;
    if (array[mid] < key) {
      low = mid + 1;
    } else {
      high = mid;
    }
  }
  return low;
}

// Up to here the searches take less than waking a team.
constexpr std::int32_t parts_cut_alone = 32;

// Sets the inner boundaries, one cut an item of a static loop.
template <class Cut>
void set_cuts(std::int32_t parts, std::int32_t* bounds, const Cut& cut) {
  if (parts < 2) return;
  const int team = parts <= parts_cut_alone ? 1 : parts;
  for_static_blocks_on_team(team, parts - 1, [&](std::int32_t first, std::int32_t last) {
    for (std::int32_t t = first; t < last; ++t) bounds[t + 1] = cut(t + 1);
  });
}

template <class I>
void cut_by_share(const I* cumulative,
                  std::int32_t n,
                  std::int32_t parts,
                  std::int32_t* bounds,
                  I base) {
  if (cumulative == nullptr || bounds == nullptr) return;
  bounds[0] = 0;
  const I share = (cumulative[n - 1] - base) / parts;
  set_cuts(parts, bounds, [=](std::int32_t t) {
    if (n < 2) return 0;
    return first_not_below(cumulative, 0, n - 1, static_cast<std::int64_t>(t) * share + base);
  });
  bounds[parts] = n;
}

}  // namespace

static_block block_of(std::int32_t count, int team, int thread) {
  const std::int32_t share = count / team;
  const std::int32_t longer = count % team;
  const std::int32_t first = thread * share + (thread < longer ? thread : longer);
  return {first, first + share + (thread < longer ? 1 : 0)};
}

std::int32_t lower_bound(const std::int32_t* array,
                         std::int32_t low,
                         std::int32_t high,
                         std::int32_t key) {
  return first_not_below(array, low, high, key);
}

std::int32_t lower_bound_wide(const std::int64_t* array,
                              std::int32_t low,
                              std::int32_t high,
                              std::int64_t key) {
  return first_not_below(array, low, high, key);
}

void partition_by_nnz(const std::int32_t* cumulative,
                      std::int32_t n,
                      std::int32_t parts,
                      std::int32_t* bounds,
                      std::int32_t base) {
  cut_by_share(cumulative, n, parts, bounds, base);
}

void partition_by_nnz_wide(const std::int64_t* cumulative,
                           std::int32_t n,
                           std::int32_t parts,
                           std::int32_t* bounds) {
  cut_by_share(cumulative, n, parts, bounds, std::int64_t{0});
}

std::int32_t partition_by_fours(std::int32_t count, std::int32_t parts, std::int32_t* bounds) {
  if (bounds == nullptr) return 1;
  bounds[0] = 0;
  if (count < 1 || parts < 1) return 0;
  auto remaining = static_cast<std::uint32_t>(count);
  auto left = static_cast<std::uint32_t>(parts);
  std::int32_t chunks = 0;
  // The quotient is taken afresh from what remains, so later chunks pay for the rounding up.
  for (; remaining > 0 && left > 0; --left) {
    std::uint32_t length = (remaining / left + 3) & ~3U;
    if (length == 0) length = 4;
    if (length > remaining) length = remaining;
    remaining -= length;
    bounds[chunks + 1] = bounds[chunks] + static_cast<std::int32_t>(length);
    ++chunks;
  }
  return chunks;
}

void partition_evenly(std::int32_t count, std::int32_t parts, std::int32_t* bounds) {
  bounds[0] = 0;
  const std::int32_t share = count / parts;
  set_cuts(parts, bounds, [=](std::int32_t t) { return t * share; });
  bounds[parts] = count;
}

}  // namespace nevrad
