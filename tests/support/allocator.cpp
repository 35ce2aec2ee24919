#include "support/allocator.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <unordered_set>

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
  std::unordered_set<void*> live;
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

// One allocation by the rules of the scope in force.
template <class Allocate>
void* allocate(std::uint64_t size, const Allocate& real) {
  ledger& b = book();
  const std::lock_guard<std::mutex> hold(b.lock);
  if (!b.active) return real();
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
  void* const p = real();
  if (p != nullptr) b.live.insert(p);
  return p;
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
  b.live.clear();
}

allocator_scope::~allocator_scope() {
  const std::lock_guard<std::mutex> hold(book().lock);
  book().active = false;
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
  return nevrad_test::allocate(size, [=] { return __real_malloc(size); });
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  return nevrad_test::allocate(count * size, [=] { return __real_calloc(count, size); });
}

void* __wrap_aligned_alloc(std::size_t alignment, std::size_t size) {
  return nevrad_test::allocate(size, [=] { return __real_aligned_alloc(alignment, size); });
}

void __wrap_free(void* p) {
  {
    nevrad_test::ledger& b = nevrad_test::book();
    const std::lock_guard<std::mutex> hold(b.lock);
    b.live.erase(p);
  }
  __real_free(p);
}
}
// NOLINTEND(readability-identifier-naming)
