#include "support/matrices.h"

#include <sys/mman.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <new>
#include <string_view>

namespace bench {

void* allocate_array(std::size_t bytes) {
  constexpr std::size_t line = 64;
  constexpr std::size_t large_page = std::size_t{2} << 20;
  static const bool large_wanted = [] {
    const char* const pages = std::getenv("NEVRAD_BENCH_PAGES");
    return pages == nullptr || std::string_view(pages) != "small";
  }();
  const bool large = large_wanted && bytes >= 2 * large_page;
  const std::size_t unit = large ? large_page : line;
  const std::size_t size = (bytes + unit - 1) / unit * unit;
  void* const p = std::aligned_alloc(unit, size);
  if (p == nullptr) throw std::bad_alloc();
  if (large) madvise(p, size, MADV_HUGEPAGE);
  return p;
}

void release_array(void* p) { std::free(p); }

namespace {

pattern stencil(int side, bool corners) {
  pattern a;
  a.rows = a.cols = side * side * side;
  a.begin.reserve(static_cast<std::size_t>(a.rows) + 1);
  a.indices.reserve(static_cast<std::size_t>(a.rows) * (corners ? 27U : 7U));
  a.begin.push_back(0);
  const auto inside = [side](int at) { return at >= 0 && at < side; };
  for (int z = 0; z < side; ++z) {
    for (int y = 0; y < side; ++y) {
      for (int x = 0; x < side; ++x) {
        for (int step = 0; step < 27; ++step) {
          const int dx = step % 3 - 1;
          const int dy = step / 3 % 3 - 1;
          const int dz = step / 9 - 1;
          if (!corners && std::abs(dx) + std::abs(dy) + std::abs(dz) > 1) continue;
          if (!inside(x + dx) || !inside(y + dy) || !inside(z + dz)) continue;
          a.indices.push_back(((z + dz) * side + y + dy) * side + x + dx);
        }
        a.begin.push_back(static_cast<int>(a.indices.size()));
      }
    }
  }
  return a;
}

// Appends `length` different columns that `next` draws, in ascending order.
template <class Next>
void append_row(pattern& a, int length, const Next& next) {
  const auto first = static_cast<std::ptrdiff_t>(a.indices.size());
  const auto wanted = static_cast<std::size_t>(first) + static_cast<std::size_t>(length);
  while (a.indices.size() < wanted) {
    while (a.indices.size() < wanted) a.indices.push_back(next());
    std::sort(a.indices.begin() + first, a.indices.end());
    a.indices.erase(std::unique(a.indices.begin() + first, a.indices.end()), a.indices.end());
  }
  a.begin.push_back(static_cast<int>(a.indices.size()));
}

}  // namespace

pattern stencil7(int side) { return stencil(side, false); }

pattern stencil27(int side) { return stencil(side, true); }

pattern uniform_random(int n, int row_length, unsigned seed) {
  std::mt19937_64 random(seed);
  std::uniform_int_distribution<int> column(0, n - 1);
  pattern a;
  a.rows = a.cols = n;
  a.begin.push_back(0);
  for (int i = 0; i < n; ++i) append_row(a, row_length, [&] { return column(random); });
  return a;
}

pattern power_law(int n, int mean_row) {
  std::mt19937_64 random(11);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  // A length is proportional to u^-0.6 with u uniform: the mean of u^-0.6 is 2.5. The cut of the
  // longest rows takes little from it.
  const double scale = mean_row / 2.5;
  const int longest = std::max(1, n / 20);
  // Popular columns are scattered over the range by a multiplication without common factor.
  constexpr std::int64_t scatter = 2654435761;
  pattern a;
  a.rows = a.cols = n;
  a.begin.push_back(0);
  for (int i = 0; i < n; ++i) {
    const double drawn = scale * std::pow(1.0 - uniform(random), -0.6);
    const int length = std::clamp(static_cast<int>(std::min(drawn, 1e9)), 1, longest);
    append_row(a, length, [&] {
      const auto rank = static_cast<std::int64_t>(n * std::pow(uniform(random), 3.0));
      return static_cast<int>(std::min<std::int64_t>(rank, n - 1) * scatter % n);
    });
  }
  return a;
}

pattern arrow(int n) {
  pattern a;
  a.rows = a.cols = n;
  a.begin.push_back(0);
  for (int j = 0; j < n; ++j) a.indices.push_back(j);
  a.begin.push_back(n);
  for (int i = 1; i < n; ++i) {
    a.indices.push_back(0);
    a.indices.push_back(i);
    a.begin.push_back(static_cast<int>(a.indices.size()));
  }
  return a;
}

pattern band(int n, int half_width) {
  pattern a;
  a.rows = a.cols = n;
  a.begin.push_back(0);
  for (int i = 0; i < n; ++i) {
    const int last = std::min(n - 1, i + half_width);
    for (int j = std::max(0, i - half_width); j <= last; ++j) a.indices.push_back(j);
    a.begin.push_back(static_cast<int>(a.indices.size()));
  }
  return a;
}

}  // namespace bench
