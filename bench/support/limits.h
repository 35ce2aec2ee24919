// What the machine can do at best, measured in the same process as the contestants.
#pragma once

#include <cstddef>

namespace bench {

// Reads `bytes` bytes once, from a buffer of that size, on `threads` threads: a sum over two
// streams with loads of 32 bytes, the fastest of the read loops that were tried here. The time is
// the least in which a working set of that size can be seen.
double read_once(std::size_t bytes, int threads);

// Makes the buffer at least that large; read_once does not allocate then.
void reserve_read_buffer(std::size_t bytes);

// Does `flops` fused operations of doubles (two a product and sum) on registers alone, on
// `threads` threads.
double compute_only(double flops, int threads);

}  // namespace bench
