#include "support/allocator.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <unordered_map>

namespace nevrad_test {

namespace {

struct ledger {
  std::mutex lock;
  bool active = false;
  failing mode = failing::never;
  int n = 0;
  int calls = 0;
  int refused = 0;
  std::uint64_t largest = 0;
  std::uint64_t held = 0;
  std::uint64_t peak = 0;
  int overrun = 0;
  std::unordered_map<void*, std::uint64_t> live;  // and the bytes asked for
  long long all_refused = 0;

  ledger() = default;
  ledger(const ledger&) = delete;
  ledger& operator=(const ledger&) = delete;
  ~ledger() { std::printf("%lld allocations were refused\n", all_refused); }
};

ledger& book() {
  static ledger the_ledger;
  return the_ledger;
}

// What lies behind each block, to be found as it was when the block comes back.
constexpr std::uint64_t fence_bytes = 64;
constexpr unsigned char fence = 0xa5;

// One allocation by the rules of the scope in force; real(bytes) makes it.
template <class Allocate>
void* allocate(std::uint64_t size, const Allocate& real) {
  ledger& b = book();
  const std::lock_guard<std::mutex> hold(b.lock);
  if (!b.active) return real(size);
  ++b.calls;
  b.largest = std::max(b.largest, size);
  const bool refuse = (b.mode == failing::once && b.calls == b.n) ||
                      (b.mode == failing::from_then_on && b.calls >= b.n) ||
                      (b.mode == failing::large && size > std::uint64_t{1} << 30);
  if (refuse) {
    ++b.refused;
    ++b.all_refused;
    return nullptr;
  }
  const std::uint64_t fenced = size + fence_bytes;
  void* const p = fenced < size ? nullptr : real(fenced);
  if (p != nullptr) {
    std::memset(static_cast<unsigned char*>(p) + size, fence, fence_bytes);
    b.live[p] = size;
    b.held += size;
    b.peak = std::max(b.peak, b.held);
  }
  return p;
}

void take_back(void* p) {
  ledger& b = book();
  const std::lock_guard<std::mutex> hold(b.lock);
  const auto block = b.live.find(p);
  if (block == b.live.end()) return;
  const unsigned char* const behind = static_cast<const unsigned char*>(p) + block->second;
  const bool kept = std::all_of(behind, behind + fence_bytes, [](auto c) { return c == fence; });
  b.overrun += kept ? 0 : 1;
  b.held -= block->second;
  b.live.erase(block);
}

}  // namespace

allocator_scope::allocator_scope(failing mode, int n) {
  ledger& b = book();
  const std::lock_guard<std::mutex> hold(b.lock);
  b.active = true;
  b.mode = mode;
  b.n = n;
  b.calls = 0;
  b.refused = 0;
  b.largest = 0;
  b.held = 0;
  b.peak = 0;
  b.overrun = 0;
  b.live.clear();
}

allocator_scope::~allocator_scope() {
  const std::lock_guard<std::mutex> hold(book().lock);
  book().active = false;
  EXPECT_EQ(book().overrun, 0) << "blocks written behind their end";
}

int allocator_scope::calls() const {
  const std::lock_guard<std::mutex> hold(book().lock);
  return book().calls;
}

int allocator_scope::refused() const {
  const std::lock_guard<std::mutex> hold(book().lock);
  return book().refused;
}

std::uint64_t allocator_scope::largest() const {
  const std::lock_guard<std::mutex> hold(book().lock);
  return book().largest;
}

std::uint64_t allocator_scope::peak() const {
  const std::lock_guard<std::mutex> hold(book().lock);
  return book().peak;
}

int allocator_scope::live() const {
  const std::lock_guard<std::mutex> hold(book().lock);
  return static_cast<int>(book().live.size());
}

}  // namespace nevrad_test

// NOLINTBEGIN(readability-identifier-naming): the linker's names.
extern "C" {

void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_aligned_alloc(std::size_t alignment, std::size_t size);
void __real_free(void* p);

void* __wrap_malloc(std::size_t size) {
  return nevrad_test::allocate(size, [](std::size_t bytes) { return __real_malloc(bytes); });
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  return nevrad_test::allocate(count * size,
                               [](std::size_t bytes) { return __real_calloc(bytes, 1); });
}

void* __wrap_aligned_alloc(std::size_t alignment, std::size_t size) {
  return nevrad_test::allocate(size, [=](std::size_t bytes) {
    return __real_aligned_alloc(alignment, bytes);
  });
}

void __wrap_free(void* p) {
  nevrad_test::take_back(p);
  __real_free(p);
}
}
// NOLINTEND(readability-identifier-naming)
