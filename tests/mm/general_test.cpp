// Products of a general matrix with a dense one: against dense arithmetic, and to the bit where the
// order of operations is fixed.
#include "mm/model.h"
#include "mm/scattered_rows.h"
#include "support/threads.h"

#include <algorithm>
#include <functional>
#include <vector>

namespace nevrad_test {
namespace {

NEVRAD_BY_TYPE(csrmm, orv_sparse_, csrmm)

// One problem of the shapes that an operation asks for; `run` computes into a copy of C.
template <class T>
struct problem {
  matrix<T> a;
  int op;
  layout order;
  T alpha;
  T beta;
  panel<T> b;
  panel<T> before;

  problem(generator& random, matrix<T> matrix_a, int operation, layout way, int n, int extra = 0)
      : a(std::move(matrix_a)),
        op(operation),
        order(way),
        alpha(random.value<T>()),
        beta(random.value<T>()),
        b(panel<T>::random(random, op == 0 ? a.cols : a.rows, n, order, extra)),
        before(panel<T>::random(random, op == 0 ? a.rows : a.cols, n, order, 2 * extra)) {}

  const char* descra() const { return order == layout::column_major ? "G00F" : "G00C"; }
  // Both forms of pointers have their turn over the widths and budgets.
  panel<T> run(int budget) const { return run(budget, (budget + b.cols()) % 2 == 0); }
  panel<T> run(int budget, bool one_array) const {
    const budget_scope scope(budget);
    const auto pointers = a.pointers_in(one_array);
    panel<T> c = before;
    EXPECT_EQ(csrmm<T>(op, a.rows, static_cast<int>(b.cols()), a.cols, alpha, descra(),
                       a.values.data(), a.indices.data(), pointers.begin, pointers.end, b.data(),
                       b.ld(), beta, c.data(), c.ld()),
              0);
    return c;
  }
  panel<T> model(path way) const { return model_product(way, a, op, b, alpha, beta, before); }
};

// The path that a row-major product of this type takes when it repacks chunks on one thread.
template <class T>
inline constexpr path chunked = is_complex<T> ? path::swept : path::swept_beta;

template <class T>
class general_mm : public testing::Test {};
TYPED_TEST_SUITE(general_mm, all_types, type_names);

// Rows of every length around the group of four, and columns of every remainder around the panels.
template <class T>
matrix<T> rows_of_lengths(generator& random,
                          std::initializer_list<int> lengths,
                          int cols,
                          int base) {
  lines<T> source;
  for (const int length : lengths) {
    auto& row = source.emplace_back();
    for (int p = 0; p < length; ++p)
      row.emplace_back(random.integer(0, cols - 1), random.value<T>());
  }
  return compress<T>(source, cols, compression::rows, base);
}

TYPED_TEST(general_mm, adds_in_the_fixed_order_at_every_width) {
  using T = TypeParam;
  for (int n = 1; n <= 2 * 64 / static_cast<int>(sizeof(T)) + 3; ++n) {
    generator random(static_cast<std::uint64_t>(100 + n));
    SCOPED_TRACE(testing::Message() << random << ", n = " << n);
    const auto lengths = {0, 1, 3, 4, 5, 0, 8, 13, 2};
    const problem<T> by_columns(random, rows_of_lengths<T>(random, lengths, 20, 1), 0,
                                layout::column_major, n, n % 3);
    const problem<T> dense_rows(random, rows_of_lengths<T>(random, lengths, 20, 0), 0,
                                layout::row_major, n, n % 3);
    // 36 entries in 9 rows: below a density of 0.009 from 445 columns on.
    const problem<T> sparse_rows(random, rows_of_lengths<T>(random, lengths, 500, 0), 0,
                                 layout::row_major, n, n % 3);
    for (const int budget : budgets) {
      SCOPED_TRACE(testing::Message() << "budget " << budget);
      EXPECT_SAME_ARRAYS(by_columns.run(budget).elements(),
                         by_columns.model(path::swept).elements());
      EXPECT_SAME_ARRAYS(dense_rows.run(budget).elements(),
                         dense_rows.model(budget == 1 ? chunked<T> : path::swept).elements());
      EXPECT_SAME_ARRAYS(sparse_rows.run(budget).elements(),
                         sparse_rows.model(path::direct).elements());
    }
  }
}

// Row-major kernels and those of single columns look at the order of rows while they multiply,
// eight pairs at a time but for the last rows; longer rows go in pairs.
TYPED_TEST(general_mm, finds_one_step_down_anywhere_in_a_row) {
  using T = TypeParam;
  for (const int length : {8, 21}) {
    for (int fault = 0; fault < 3 * length; ++fault) {
      const int place = fault % length;
      if (place + 1 == length) continue;
      generator random(static_cast<std::uint64_t>(150 + fault));
      lines<T> source(34);
      for (auto& row : source) {
        for (int p = 0; p < length; ++p) row.emplace_back(100 * p, random.value<T>());
      }
      const auto check_columns = [&](int n) {
        const problem<T> columns(random, compress<T>(source, 2101, compression::rows, 1), 0,
                                 layout::column_major, n);
        EXPECT_SAME_ARRAYS(columns.run(1).elements(), columns.model(path::swept).elements());
      };
      if (fault == 0) check_columns(2);
      auto& row = source[at(1 + fault / length)];
      std::swap(row[at(place)], row[at(place + 1)]);
      for (const int cols : {2101, 2400}) {
        const problem<T> made(random, compress<T>(source, cols, compression::rows, 0), 0,
                              layout::row_major, 4 + 4 * (fault % 3));
        const auto way = cols == 2101 && length == 21 ? chunked<T> : path::direct;
        SCOPED_TRACE(testing::Message() << length << ", place " << fault << ", cols " << cols);
        EXPECT_SAME_ARRAYS(made.run(1).elements(), made.model(way).elements());
      }
      check_columns(1 + fault % 5);
    }
  }
}

TYPED_TEST(general_mm, transposes_and_conjugates_a_copy) {
  using T = TypeParam;
  generator random(200);
  for (const int op : {1, 2}) {
    SCOPED_TRACE(testing::Message() << random << ", op " << op);
    const auto a =
        random_matrix<T>(random, {.rows = 19, .cols = 31, .base = 1, .duplicates = true});
    const auto b = random_matrix<T>(random, {.rows = 19, .cols = 31, .duplicates = true});
    const problem<T> by_columns(random, a, op, layout::column_major, 11, 1);
    const problem<T> by_rows(random, b, op, layout::row_major, 11, 1);
    for (const int budget : budgets) {
      EXPECT_SAME_ARRAYS(by_columns.run(budget).elements(),
                         by_columns.model(path::swept).elements());
      EXPECT_SAME_ARRAYS(by_rows.run(budget).elements(),
                         by_rows.model(budget == 1 ? chunked<T> : path::swept).elements());
    }
  }
}

// Random rows over many columns; some have nothing in some blocks.
template <class T>
matrix<T> wide_rows(generator& random, int rows, int cols, int typical, int base) {
  lines<T> source(static_cast<std::size_t>(rows));
  for (auto& row : source) {
    const int length = random.integer(0, 2 * typical);
    for (int p = 0; p < length; ++p)
      row.emplace_back(random.integer(0, cols - 1), random.value<T>());
  }
  source.back().emplace_back(cols - 1, random.value<T>());
  return compress<T>(source, cols, compression::rows, base);
}

TYPED_TEST(general_mm, adds_block_by_block) {
  using T = TypeParam;
  // A panel and two more columns: the widths are tested elsewhere.
  for (const int cols : {5120, 5121, 10240, 10241, 12000}) {
    // Few entries a block and many: both ways of walking blocks.
    for (const int typical : {6, 400}) {
      generator random(static_cast<std::uint64_t>(cols + typical));
      SCOPED_TRACE(testing::Message() << random << ", " << cols << " columns");
      const problem<T> by_columns(random, wide_rows<T>(random, 9, cols, typical, 1), 0,
                                  layout::column_major, 6);
      // 400 of 5119 and more entries a row are dense enough to be packed, 6 are not.
      const problem<T> by_rows(random, wide_rows<T>(random, 9, cols, typical, 0), 0,
                               layout::row_major, 6);
      for (const int budget : {1, 3}) {
        SCOPED_TRACE(testing::Message() << "budget " << budget);
        EXPECT_SAME_ARRAYS(by_columns.run(budget).elements(),
                           by_columns.model(path::swept).elements());
        const path packed = budget == 1 && cols <= 5120 ? chunked<T> : path::swept;
        EXPECT_SAME_ARRAYS(by_rows.run(budget).elements(),
                           by_rows.model(typical == 6 ? path::direct : packed).elements());
      }
    }
  }
}

// Rows that call for columns around `centre(row)`, a few of them, in any order.
template <class T, class Centre>
matrix<T> around(generator& random, int order, const Centre& centre) {
  lines<T> source(static_cast<std::size_t>(order));
  for (int i = 0; i < order; ++i) {
    const int length = i % 11 == 5 ? 0 : 4;
    for (int p = 0; p < length; ++p) {
      const int column = centre(i) + random.integer(-9, 9);
      source[static_cast<std::size_t>(i)].emplace_back(std::clamp(column, 0, order - 1),
                                                       random.value<T>());
    }
  }
  return compress<T>(source, order, compression::rows, 1);
}

// A band, a band with rows from elsewhere, and rows that jump to and fro.
TYPED_TEST(general_mm, packs_what_rows_reach_in_any_order) {
  using T = TypeParam;
  constexpr int order = 1500;
  const auto band = [](int i) { return i; };
  const auto strays = [](int i) { return i % 100 == 50 ? order - i : i; };
  const auto jumps = [](int i) { return i / 16 % 2 == 0 ? i / 2 : order - 1 - i / 2; };
  const auto backwards = [](int i) { return order - 1 - i; };
  const std::function<int(int)> centres[] = {band, strays, jumps, backwards};
  for (const auto& centre : centres) {
    generator random(250);
    const problem<T> p(random, around<T>(random, order, centre), 0, layout::column_major, 13, 1);
    const panel<T> want = p.model(path::swept);
    for (const int budget : {1, 3}) EXPECT_SAME_ARRAYS(p.run(budget).elements(), want.elements());
  }
}

// One array of pointers or two, rows that ascend or not: the same bits.
TYPED_TEST(general_mm, takes_arrays_in_place_or_copied) {
  using T = TypeParam;
  for (int round = 0; round < 12; ++round) {
    generator random(static_cast<std::uint64_t>(260 + round));
    SCOPED_TRACE(random);
    const layout order = round % 2 == 0 ? layout::column_major : layout::row_major;
    const auto a = random_matrix<T>(random, {.rows = 40,
                                             .cols = round < 6 ? 30 : 700,
                                             .base = order == layout::column_major ? 1 : 0,
                                             .sorted = round % 3 == 0,
                                             .nasty = round < 6,
                                             .duplicates = true});
    const problem<T> p(random, a, round / 2 % 3, order, 13, 1);
    for (const int budget : {1, 2}) {
      EXPECT_SAME_ARRAYS(p.run(budget, true).elements(), p.run(budget, false).elements());
    }
  }
}

// `nnz` entries spread over the rows in turn.
template <class T>
matrix<T> spread(generator& random, int rows, int cols, int nnz) {
  lines<T> source(static_cast<std::size_t>(rows));
  for (int p = 0; p < nnz; ++p) {
    source[static_cast<std::size_t>(p % rows)].emplace_back(random.integer(0, cols - 1),
                                                            random.value<T>());
  }
  return compress<T>(source, cols, compression::rows, 0);
}

struct density_case {
  const char* what;
  int rows, cols, nnz;
  path one_thread, two_threads;  // path::swept_beta stands for repacking in chunks
};
const density_case density_cases[] = {
    // In single precision 90 / 10000 lies below 0.009.
    {"below the dense cut", 100, 100, 90, path::direct, path::direct},
    {"above the dense cut", 100, 100, 91, path::swept_beta, path::swept},
    {"between the cuts, 40000 entries", 2000, 4000, 40000, path::direct, path::direct},
    {"between the cuts, 40001 entries", 2000, 4000, 40001, path::swept_beta, path::direct},
    // In single precision 40204 / 4600^2 lies above 0.0019.
    {"below the sparse cut, large", 4600, 4600, 40203, path::direct, path::direct},
    {"above the sparse cut, large", 4600, 4600, 40204, path::swept_beta, path::direct},
    {"above the sparse cut, blocks", 4000, 5200, 40001, path::swept, path::direct},
    // 2^32 elements count as 0 on one thread, 2^31 as a negative number.
    {"elements wrap to zero", 65536, 65536, 900, path::swept, path::direct},
    {"elements wrap below zero", 65536, 32768, 900, path::direct, path::direct},
};

TYPED_TEST(general_mm, chooses_row_major_paths_by_density_and_size) {
  using T = TypeParam;
  for (const density_case& row : density_cases) {
    SCOPED_TRACE(row.what);
    generator random(300);
    // The last columns round differently on every path, and cost least.
    const problem<T> p(random, spread<T>(random, row.rows, row.cols, row.nnz), 0, layout::row_major,
                       2);
    const path one = row.one_thread == path::swept_beta ? chunked<T> : row.one_thread;
    EXPECT_SAME_ARRAYS(p.run(1).elements(), p.model(one).elements());
    EXPECT_SAME_ARRAYS(p.run(2).elements(), p.model(row.two_threads).elements());
  }
}

TYPED_TEST(general_mm, gives_the_same_bits_on_a_smaller_team_than_requested) {
  using T = TypeParam;
  generator random(400);
  for (const layout order : {layout::column_major, layout::row_major}) {
    const int base = order == layout::column_major ? 1 : 0;
    const problem<T> p(random, wide_rows<T>(random, 40, 6000, 100, base), 0, order, 9);
    const problem<T> q(random, wide_rows<T>(random, 40, 6000, 3, base), 1, order, 9);
    const panel<T> alone = p.run(7);
    const panel<T> transposed = q.run(7);
    in_callers_region([&] {
      EXPECT_SAME_ARRAYS(p.run(7).elements(), alone.elements());
      EXPECT_SAME_ARRAYS(q.run(7).elements(), transposed.elements());
    });
  }
}

// Entries that are copied into blocks, and threads and rows that have none.
TYPED_TEST(general_mm, scales_rows_without_entries_beside_long_ones) {
  using T = TypeParam;
  generator random(450);
  for (const layout order : {layout::column_major, layout::row_major}) {
    const int base = order == layout::column_major ? 1 : 0;
    const auto a = rows_of_lengths<T>(random, {300, 0, 300, 0, 0, 0, 0}, 400, base);
    const problem<T> p(random, a, 0, order, 19);
    const path one = order == layout::row_major ? chunked<T> : path::swept;
    EXPECT_SAME_ARRAYS(p.run(1).elements(), p.model(one).elements());
    EXPECT_SAME_ARRAYS(p.run(7).elements(), p.model(path::swept).elements());
  }
}

// Rows that reach across a B which no cache holds: what they meet is fetched ahead, where that
// pays, and no further than the rows go. Dense enough for sweeps on one thread alone.
TYPED_TEST(general_mm, reaches_across_a_large_b) {
  using T = TypeParam;
  constexpr int cols = 32768;
  constexpr int n = 6;
  constexpr int extra = 256 / static_cast<int>(sizeof(T)) - n;
  generator random(500);
  lines<T> source(24 * 16 + 1);
  for (std::size_t i = 0; i + 1 < source.size(); ++i) {
    auto& row = source[i];
    for (const int column : {0, cols - 1}) row.emplace_back(column, random.value<T>());
    for (int p = 0; p < (i % 16 == 0 ? 0 : 118); ++p)
      row.emplace_back(random.integer(0, cols - 1), random.value<T>());
  }
  const problem<T> p(random, compress<T>(source, cols, compression::rows, 0), 0, layout::row_major,
                     n, is_native ? extra : 0);
  EXPECT_SAME_ARRAYS(p.run(1).elements(), p.model(path::swept).elements());
  EXPECT_SAME_ARRAYS(p.run(3).elements(), p.model(path::direct).elements());
}

// Rows of few entries in several blocks, some of them out of order and one that is longer than what
// is told at once.
template <class T>
matrix<T> scattered(generator& random, int rows, int cols, int base) {
  lines<T> source(at(rows));
  for (std::size_t i = 0; i < source.size(); ++i) {
    const int length = i == 77 ? 2500 : i % 2 == 0 ? 3 : i % 13 == 0 ? 0 : 20;
    for (int p = 0; p < length; ++p)
      source[i].emplace_back(random.integer(0, cols - 1), random.value<T>());
    if (i % 50 == 7) continue;
    std::sort(source[i].begin(), source[i].end(),
              [](const auto& one, const auto& other) { return one.first < other.first; });
  }
  return compress<T>(source, cols, compression::rows, base);
}

// B at hand and out of cache, where the ends of parts are told before.
TYPED_TEST(general_mm, tells_where_parts_of_scattered_rows_end) {
  using T = TypeParam;
  constexpr int line = 64 / static_cast<int>(sizeof(T));
  generator random(550);
  const matrix<T> rows = scattered<T>(random, 4800, 5200, 0);
  for (const int n : {7, 4 * line + 4}) {
    for (const int extra : {0, 32 * line}) {
      if (extra > 0 && !is_native) continue;
      const problem<T> p(random, rows, 0, layout::row_major, n, extra);
      SCOPED_TRACE(testing::Message() << n << " columns, " << extra << " beyond");
      EXPECT_SAME_ARRAYS(p.run(1).elements(), p.model(path::swept).elements());
    }
  }
  if (!is_native) return;
  const matrix<T> columns = scattered<T>(random, 300, 66000, 1);
  const problem<T> q(random, columns, 0, layout::column_major, 3 * line);
  for (const int budget : {1, 3})
    EXPECT_SAME_ARRAYS(q.run(budget).elements(), q.model(path::swept).elements());
}

TEST(part_ends, lie_where_blocks_change) {
  constexpr int cols = 2147483645;
  const nevrad::block_bounds bounds(cols);
  const int limits[] = {bounds.start_of(cols - 1), bounds.start_of(bounds.start_of(cols - 1) - 1),
                        cols};
  const auto limit = [&](int k) { return k % 1000 < 3 ? limits[k % 1000] : k * 5120; };
  for (const int base : {0, 1}) {
    nevrad::part_ends<double> ends(bounds);
    std::vector<std::int32_t> indices;
    for (int k = 1; k < cols / 5120; k += 209) {
      for (const int near : {-2, -1, 0, 1}) {
        const int column = limit(k) + near;
        if (column < cols) indices.push_back(column + base);
      }
    }
    constexpr int most = 2000;
    std::vector<double> values(most);
    for (std::size_t first = 0; first < indices.size(); first += most) {
      const int count = static_cast<int>(std::min<std::size_t>(most, indices.size() - first));
      std::int32_t begin[] = {base};
      std::int32_t end[] = {base + count};
      nevrad::compressed_matrix<double> a{};
      a.begin = begin;
      a.end = end;
      a.indices = indices.data() + first;
      a.values = values.data();
      a.rows = 1;
      a.cols = cols;
      a.base = base;
      ASSERT_TRUE(ends.find(nevrad::row_entries<double>(a, 0, 1)));
      for (int p = 0; p < count; ++p) {
        const auto block = [&](int q) { return bounds.block_of(a.indices[q] - base); };
        const bool is_end = p + 1 == count || block(p) != block(p + 1);
        ASSERT_EQ(ends.at_positions()[p + base] != 0, is_end) << a.indices[p];
      }
    }
  }
}

// Many columns, of which two chunks go side by side, with a B in cache and one that no cache holds.
// Rows follow each other; blocks of columns end within them, and some do not ascend.
TYPED_TEST(general_mm, adds_in_the_fixed_order_in_pairs_of_chunks) {
  using T = TypeParam;
  constexpr int chunk = 64 / static_cast<int>(sizeof(T));
  constexpr int cols = 5400;
  for (const bool dense : {false, true}) {
    for (const int n : {4 * chunk, 5 * chunk + 5, 8 * chunk + 1}) {
      generator random(static_cast<std::uint64_t>(550 + n));
      lines<T> source(68);
      for (std::size_t i = 0; i < source.size(); ++i) {
        for (int p = 0; p < (dense ? 48 + static_cast<int>(i % 7) : static_cast<int>(i % 19)); ++p)
          source[i].emplace_back(5000 + static_cast<int>(i) + 3 * p, random.value<T>());
        if (i > 40 && i % 9 > 6) std::swap(source[i].front(), source[i].back());
      }
      const int extra = !is_native ? 0 : 1600 / static_cast<int>(sizeof(T)) - n;
      for (const int beyond : {0, extra}) {
        const problem<T> p(random, compress<T>(source, cols, compression::rows, 0), 0,
                           layout::row_major, n, beyond);
        const panel<T> want = p.model(dense ? path::swept : path::direct);
        for (const int budget : {1, 2})
          EXPECT_SAME_ARRAYS(p.run(budget).elements(), want.elements());
        if (extra == 0) break;
      }
    }
  }
}

// Signs of zero, infinities and NaN go through every path as its operations make them: panels leave
// rows and blocks without entries alone, the last columns add alpha * 0.
TYPED_TEST(general_mm, keeps_special_values) {
  using T = TypeParam;
  const double infinity = std::numeric_limits<double>::infinity();
  const T specials[] = {make<T>(1),        make<T>(-1),    make<T>(0, -0.0), make<T>(-0.0, 0),
                        make<T>(infinity), quiet_nan<T>(), make<T>(3, -2)};
  for (const layout order : {layout::column_major, layout::row_major}) {
    for (const int cols : {20, 500, 12000}) {
      generator random(static_cast<std::uint64_t>(cols));
      const int base = order == layout::column_major ? 1 : 0;
      problem<T> p(random, rows_of_lengths<T>(random, {2, 0, 2, 1}, cols, base), 0, order, 19);
      for (int j = 0; j < 19; ++j) {
        for (int i = 0; i < 4; ++i) p.before(i, j) = specials[random.integer(0, 6)];
        p.b(p.a.indices[1] - base, j) = specials[random.integer(0, 6)];
      }
      for (const T alpha : specials) {
        for (const T beta : specials) {
          p.alpha = alpha;
          p.beta = beta;
          for (const int budget : {1, 2}) {
            SCOPED_TRACE(testing::Message() << p.descra() << ", " << cols << " columns, alpha "
                                            << alpha << ", beta " << beta << ", on " << budget);
            const path packed =
                order == layout::row_major && budget == 1 ? chunked<T> : path::swept;
            const path way = order == layout::row_major && cols > 20 ? path::direct : packed;
            EXPECT_SAME_ARRAYS(p.run(budget).elements(), p.model(way).elements());
          }
        }
      }
    }
  }
}

// Only the first entry of pntrb counts: gaps between the rows' ends and beginnings do not survive.
TYPED_TEST(general_mm, rows_are_taken_as_packed) {
  using T = TypeParam;
  const T v = make<T>(1);
  array<T> val{make<T>(1), make<T>(2), make<T>(4)};
  array<int> indx{1, 1, 1};
  array<int> begin{1, -77};
  array<int> end{2, 4};
  array<T> b{v};
  array<T> c{make<T>(0), make<T>(0)};
  ASSERT_EQ(csrmm<T>(0, 2, 1, 1, v, "G00F", val.data(), indx.data(), begin.data(), end.data(),
                     b.data(), 1, v, c.data(), 2),
            0);
  EXPECT_SAME_BITS(c[0], make<T>(1));
  EXPECT_SAME_BITS(c[1], make<T>(6));
}

}  // namespace
}  // namespace nevrad_test
