// Partitions and regions: boundaries to the item, and no part lost on a smaller team.
#include "frame/partition.h"

#include "frame/regions.h"
#include "support/random.h"
#include "support/threads.h"

#include <atomic>

namespace nevrad_test {
namespace {

// Boundaries of both widths of cumulative array, which must agree.
array<int> cut_by_nnz(const std::vector<int>& cumulative, int parts) {
  const auto n = static_cast<int>(cumulative.size());
  array<int> bounds(parts + 1, -1);
  nevrad::partition_by_nnz(cumulative.data(), n, parts, bounds.data());
  std::vector<std::int64_t> wide(cumulative.begin(), cumulative.end());
  array<int> bounds_wide(parts + 1, -1);
  nevrad::partition_by_nnz_wide(wide.data(), n, parts, bounds_wide.data());
  EXPECT_SAME_ARRAYS(bounds, bounds_wide);
  return bounds;
}

TEST(partition, cuts_at_the_first_line_that_reaches_a_share) {
  // Lines of 1, 3, 0, 4, 2 entries; share 10 / 3 = 3.
  EXPECT_SAME_ARRAYS(cut_by_nnz({1, 4, 4, 8, 10}, 3), (array<int>{0, 1, 3, 5}));
  // An exact hit: the line that completes the share stands behind the cut.
  EXPECT_SAME_ARRAYS(cut_by_nnz({2, 4, 6, 8}, 2), (array<int>{0, 1, 4}));
  // With a base of 1 left in the counts.
  EXPECT_SAME_ARRAYS(cut_by_nnz({3, 5, 7, 9}, 2), (array<int>{0, 1, 4}));
  // Everything in the last line, nothing anywhere, one line, one part, more parts than lines.
  EXPECT_SAME_ARRAYS(cut_by_nnz({0, 0, 0, 12}, 4), (array<int>{0, 3, 3, 3, 4}));
  EXPECT_SAME_ARRAYS(cut_by_nnz({0, 0, 0, 0}, 3), (array<int>{0, 0, 0, 4}));
  EXPECT_SAME_ARRAYS(cut_by_nnz({9}, 4), (array<int>{0, 0, 0, 0, 1}));
  EXPECT_SAME_ARRAYS(cut_by_nnz({5, 6, 9}, 1), (array<int>{0, 3}));
  EXPECT_SAME_ARRAYS(cut_by_nnz({2, 4}, 5), (array<int>{0, 0, 0, 0, 0, 2}));
  // Cuts of small teams and of large ones.
  for (const int parts : {2, 3, 31, 32, 33, 34, 90}) {
    std::vector<int> twos(91);
    for (int i = 0; i < 91; ++i) twos[static_cast<std::size_t>(i)] = 2 * (i + 1);
    const array<int> bounds = cut_by_nnz(twos, parts);
    for (int t = 1; t < parts; ++t) EXPECT_EQ(bounds[t], (t * (182 / parts) + 1) / 2 - 1) << parts;
  }
  // Three long lines in a row make empty parts.
  EXPECT_SAME_ARRAYS(cut_by_nnz({100, 101, 102}, 4), (array<int>{0, 0, 0, 0, 3}));
}

// Shares are truncated, and targets are formed beyond 32 bits.
TEST(partition, forms_targets_in_64_bits) {
  const int most = 2147483647;
  EXPECT_SAME_ARRAYS(cut_by_nnz({most / 2, most - 1, most}, 3), (array<int>{0, 0, 1, 3}));
  array<int> bounds(641, -1);
  const std::int64_t wide[] = {std::int64_t{1} << 40, std::int64_t{1} << 41};
  nevrad::partition_by_nnz_wide(wide, 2, 640, bounds.data());
  EXPECT_EQ(bounds[320], 0);
  EXPECT_EQ(bounds[321], 1);
  EXPECT_EQ(bounds[640], 2);
}

TEST(partition, leaves_null_alone) {
  const int cumulative = 1;
  int bound = 7;
  nevrad::partition_by_nnz(nullptr, 1, 2, &bound);
  nevrad::partition_by_nnz(&cumulative, 1, 2, nullptr);
  EXPECT_EQ(bound, 7);
  EXPECT_EQ(nevrad::partition_by_fours(5, 2, nullptr), 1);
}

TEST(partition, counts_by_fours) {
  struct {
    int count, parts;
    std::vector<int> bounds;
  } const cases[] = {
      {10, 3, {0, 4, 8, 10}},
      {5, 4, {0, 4, 5}},
      {3, 8, {0, 3}},
      {17, 1, {0, 17}},
      {0, 3, {0}},
      {-1, 3, {0}},
      {4, 0, {0}},
      {16, 4, {0, 4, 8, 12, 16}},
      {100, 7, {0, 16, 32, 48, 64, 76, 88, 100}},
      {9, 2, {0, 4, 9}},
      {2147483645, 2, {0, 1073741824, 2147483645}},
  };
  for (const auto& c : cases) {
    array<int> bounds(std::max(c.parts, 0) + 1, -5);
    const int chunks = nevrad::partition_by_fours(c.count, c.parts, bounds.data());
    EXPECT_EQ(chunks + 1, static_cast<int>(c.bounds.size())) << c.count << " in " << c.parts;
    for (std::int64_t i = 0; i < bounds.size(); ++i) {
      const auto at = static_cast<std::size_t>(i);
      EXPECT_EQ(bounds[i], at < c.bounds.size() ? c.bounds[at] : -5)
          << "boundary " << i << " of " << c.count << " in " << c.parts;
    }
  }
}

TEST(partition, evenly_leaves_the_rest_to_the_last) {
  array<int> bounds(4, -1);
  nevrad::partition_evenly(11, 3, bounds.data());
  EXPECT_SAME_ARRAYS(bounds, (array<int>{0, 3, 6, 11}));
  nevrad::partition_evenly(2, 3, bounds.data());
  EXPECT_SAME_ARRAYS(bounds, (array<int>{0, 0, 0, 2}));
}

TEST(partition, lower_bound_is_the_first_not_below) {
  const std::vector<int> narrow{-3, 1, 1, 4, 9};
  const std::vector<std::int64_t> wide(narrow.begin(), narrow.end());
  for (int key = -4; key <= 10; ++key) {
    const auto want =
        static_cast<int>(std::lower_bound(narrow.begin(), narrow.end(), key) - narrow.begin());
    EXPECT_EQ(nevrad::lower_bound(narrow.data(), 0, 5, key), want) << key;
    EXPECT_EQ(nevrad::lower_bound_wide(wide.data(), 0, 5, key), want) << key;
    EXPECT_EQ(nevrad::lower_bound(narrow.data(), 2, 4, key), std::clamp(want, 2, 4)) << key;
  }
  EXPECT_EQ(nevrad::lower_bound(narrow.data(), 3, 3, 0), 3);
  EXPECT_EQ(nevrad::lower_bound(narrow.data(), 4, 2, 0), 4) << "an empty range gives its start";
}

// Blocks of a static loop, as the runtime itself deals them out.
TEST(partition, blocks_are_those_of_a_static_loop) {
  for (const int team : {1, 2, 3, 7}) {
    for (const int count : {1, 2, 6, 7, 8, 100}) {
      std::vector<int> owner(static_cast<std::size_t>(count), -1);
      int granted = 0;
#pragma omp parallel num_threads(team)
      {
#pragma omp single
        granted = omp_get_num_threads();
#pragma omp for schedule(static)
        for (int i = 0; i < count; ++i) owner[static_cast<std::size_t>(i)] = omp_get_thread_num();
      }
      for (int t = 0; t < granted; ++t) {
        const auto block = nevrad::block_of(count, granted, t);
        for (int i = block.first; i < block.last; ++i) {
          EXPECT_EQ(owner[static_cast<std::size_t>(i)], t) << i << " of " << count;
        }
      }
    }
  }
}

// Every part is run once: on a full team, and on whatever a caller's region leaves of it.
void expect_every_part_once() {
  for (const int parts : {1, 2, 3, 7, 40}) {
    std::vector<std::atomic<int>> runs(static_cast<std::size_t>(parts));
    nevrad::for_each_part_on_team(parts, [&](int part) { ++runs[static_cast<std::size_t>(part)]; });
    for (const auto& n : runs) EXPECT_EQ(n, 1) << parts << " parts";

    std::vector<std::atomic<int>> items(101);
    nevrad::for_static_blocks_on_team(parts, 101, [&](int first, int last) {
      for (int i = first; i < last; ++i) ++items[static_cast<std::size_t>(i)];
    });
    for (const auto& n : items) EXPECT_EQ(n, 1) << parts << " parts";

    std::vector<std::atomic<int>> chunks(static_cast<std::size_t>(parts));
    nevrad::for_each_chunk_on_default_team(parts, [&](int chunk) {
      ++chunks[static_cast<std::size_t>(chunk)];
    });
    for (const auto& n : chunks) EXPECT_EQ(n, 1) << parts << " chunks";
  }
}

TEST(regions, run_every_part_once) { expect_every_part_once(); }

TEST(regions, run_every_part_once_inside_a_callers_region) {
  in_callers_region([] { expect_every_part_once(); });
}

TEST(regions, request_the_team_they_are_told) {
  const int wanted = std::min(3, omp_get_thread_limit());
  std::atomic<int> team{0};
  nevrad::for_each_part_on_team(wanted, [&](int) { team = omp_get_num_threads(); });
  if (omp_get_dynamic() == 0) {
    EXPECT_EQ(team, wanted);
  }
}

}  // namespace
}  // namespace nevrad_test
