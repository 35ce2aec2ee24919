// Private vectors of result length, one a thread.
#pragma once

#include "frame/memory.h"
#include "frame/regions.h"

#include <string.h>

namespace nevrad {

// Whether vectors are cleared when they are made.
enum class clearing : bool { no, yes };

// Owns `count` vectors and the array of their pointers.
template <class T>
class thread_vectors {
 public:
  thread_vectors() = default;
  thread_vectors(const thread_vectors&) = delete;
  thread_vectors& operator=(const thread_vectors&) = delete;
  thread_vectors(thread_vectors&& other) noexcept
      : at_(static_cast<scratch<T*>&&>(other.at_)), count_(other.count_) {
    other.count_ = 0;
  }
  thread_vectors& operator=(thread_vectors&&) = delete;
  ~thread_vectors() {
    for (int t = 0; t < count_; ++t) release_memory(at_[t]);
  }

  explicit operator bool() const { return static_cast<bool>(at_); }
  T* operator[](int t) const { return at_[t]; }

 private:
  thread_vectors(scratch<T*>&& at, int count)
      : at_(static_cast<scratch<T*>&&>(at)), count_(count) {}

  template <class U>
  friend thread_vectors<U> thread_vectors_alloc(int budget, std::int32_t rows, clearing clear);

  scratch<T*> at_;
  int count_ = 0;
};

// `budget` vectors of `rows` elements, each an allocation of its own; false when memory is short,
// with nothing left allocated.
template <class T>
thread_vectors<T> thread_vectors_alloc(int budget,
                                       std::int32_t rows,
                                       clearing clear = clearing::yes) {
  const auto budget_size = static_cast<std::uint64_t>(budget);
  scratch<T*> pointers(rounded_aligned_alloc(cache_line, sizeof(T*) * budget_size));
  if (!pointers) return {};
  thread_vectors<T> vectors(static_cast<scratch<T*>&&>(pointers), 0);
  const auto size = sizeof(T) * static_cast<std::uint64_t>(rows);
  for (int t = 0; t < budget; ++t) {
    void* const vector = rounded_aligned_alloc(cache_line, size);
    if (vector == nullptr) return {};
    vectors.at_[t] = static_cast<T*>(vector);
    vectors.count_ = t + 1;
  }
  if (clear == clearing::no) return vectors;
  // Each thread clears the vector that it will most likely fill.
  for_each_part_on_team(budget, [&](int t) { memset(vectors[t], 0, size); });
  return vectors;
}

}  // namespace nevrad
