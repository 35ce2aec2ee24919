#include "frame/memory.h"

#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>

namespace nevrad {

namespace {

std::uint64_t rounded_size(std::uint64_t alignment, std::uint64_t size) {
  return (alignment + size - 1) / alignment * alignment;
}

// Large blocks are fresh from the kernel at every call, and mapping them page by page takes longer
// than filling them: the large pages inside are asked for as such. A refusal changes nothing.
constexpr std::uint64_t large_page = std::uint64_t{2} << 20;
constexpr std::uint64_t large_block = 2 * large_page;

void advise_large_pages(void* p, std::uint64_t size) {
#ifdef MADV_HUGEPAGE
  const auto first = (reinterpret_cast<std::uint64_t>(p) + large_page - 1) & ~(large_page - 1);
  const auto last = (reinterpret_cast<std::uint64_t>(p) + size) & ~(large_page - 1);
  if (first < last) madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#endif
}

// Gives memory back. A compiler would take out both calls of a pair that nothing comes between.
bool give_back(void* p) {
  asm volatile("" : "+r"(p));
  free(p);
  return p != nullptr;
}

}  // namespace

void* rounded_aligned_alloc(std::uint64_t alignment, std::uint64_t size, memory_use use) {
  if (alignment == 0) return nullptr;
  void* const p = aligned_alloc(alignment, rounded_size(alignment, size));
  if (p != nullptr && use == memory_use::filled && size >= large_block) advise_large_pages(p, size);
  return p;
}

bool probe_memory(std::uint64_t alignment, std::uint64_t size) {
  return give_back(rounded_aligned_alloc(alignment, size, memory_use::set_aside));
}

bool probe_plain_memory(std::uint64_t size) { return give_back(plain_alloc(size)); }

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
