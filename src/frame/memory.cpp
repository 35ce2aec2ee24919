#include "frame/memory.h"

#include <stdlib.h>
#include <string.h>

namespace nevrad {

namespace {

std::uint64_t rounded_size(std::uint64_t alignment, std::uint64_t size) {
  return (alignment + size - 1) / alignment * alignment;
}

}  // namespace

void* rounded_aligned_alloc(std::uint64_t alignment, std::uint64_t size) {
  if (alignment == 0) return nullptr;
  return aligned_alloc(alignment, rounded_size(alignment, size));
}

void* zeroed_aligned_alloc(std::uint64_t alignment, std::uint64_t size) {
  void* const p = rounded_aligned_alloc(alignment, size);
  if (p != nullptr) memset(p, 0, rounded_size(alignment, size));
  return p;
}

void* plain_alloc(std::uint64_t size) { return malloc(size); }

void* plain_zeroed_alloc(std::uint64_t count, std::uint64_t size) { return calloc(count, size); }

void release_memory(void* p) { free(p); }

status checked_multiply(std::uint64_t a, std::uint64_t b, std::uint64_t* result) {
  if (result == nullptr) return null_pointer;
  std::uint64_t product = 0;
  if (__builtin_mul_overflow(a, b, &product)) return overflow;
  *result = product;
  return success;
}

}  // namespace nevrad
