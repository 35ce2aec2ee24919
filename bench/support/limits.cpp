#include "support/limits.h"

#include "support/matrices.h"

#include <cstring>

namespace bench {

namespace {

using wide = double __attribute__((vector_size(32)));

array<double>& read_buffer() {
  static array<double> buffer;
  return buffer;
}

wide load_wide(const double* from) {
  wide r;
  std::memcpy(&r, from, sizeof r);
  return r;
}

double read_part(const double* from, std::size_t doubles) {
  constexpr std::size_t step = 16;
  const std::size_t stream = doubles / 2 / step * step;
  const double* const first = from;
  const double* const second = from + stream;
  wide sums[8] = {};
  for (std::size_t i = 0; i < stream; i += step) {
    for (std::size_t part = 0; part < 4; ++part) {
      sums[part] += load_wide(first + i + 4 * part);
      sums[4 + part] += load_wide(second + i + 4 * part);
    }
  }
  wide total = {};
  for (const wide sum : sums) total += sum;
  return total[0] + total[1] + total[2] + total[3];
}

double compute_part(double flops) {
  // Enough chains to cover the latency of two units; a fixed point keeps the numbers tame.
  constexpr int chains = 12;
  wide sums[chains] = {};
  const wide factor = wide{} + 0.5;
  const wide term = wide{} + 0.25;
  const auto trips = static_cast<long>(flops / (2.0 * 4 * chains));
  for (long trip = 0; trip < trips; ++trip) {
    for (wide& sum : sums) sum = __builtin_elementwise_fma(sum, factor, term);
  }
  wide total = {};
  for (const wide sum : sums) total += sum;
  return total[0];
}

}  // namespace

void reserve_read_buffer(std::size_t bytes) {
  array<double>& buffer = read_buffer();
  const std::size_t doubles = bytes / sizeof(double) + 1;
  if (buffer.size() < doubles) buffer.resize(doubles, 0.5);
}

double read_once(std::size_t bytes, int threads) {
  reserve_read_buffer(bytes);
  const double* const from = read_buffer().data();
  const std::size_t doubles = bytes / sizeof(double);
  if (threads < 2) return read_part(from, doubles);
  const std::size_t share = doubles / static_cast<std::size_t>(threads);
  double sum = 0;
#pragma omp parallel for num_threads(threads) schedule(static) reduction(+ : sum)
  for (int t = 0; t < threads; ++t) {
    sum += read_part(from + share * static_cast<std::size_t>(t), share);
  }
  return sum;
}

double compute_only(double flops, int threads) {
  if (threads < 2) return compute_part(flops);
  double sum = 0;
#pragma omp parallel for num_threads(threads) schedule(static) reduction(+ : sum)
  for (int t = 0; t < threads; ++t) sum += compute_part(flops / threads);
  return sum;
}

}  // namespace bench
