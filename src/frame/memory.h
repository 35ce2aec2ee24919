// Memory of a call: the only door to the C allocator, and the owners that give it back.
#pragma once

#include "frame/status.h"

namespace nevrad {

inline constexpr std::uint64_t cache_line = 64;

// What memory is asked for: to be filled, or to have it should it be needed. Large pages are
// cleared whole at the first touch, and the allocator itself touches the places between its blocks:
// memory that is only set aside is not asked for in such pages.
enum class memory_use : bool { filled, set_aside };

// aligned_alloc with the size rounded up to a multiple of the alignment, as that function wants it.
// Null when the alignment is 0 or memory is short. Released with release_memory.
void* rounded_aligned_alloc(std::uint64_t alignment,
                            std::uint64_t size,
                            memory_use use = memory_use::filled);

// Whether rounded_aligned_alloc and plain_alloc would give memory: it is asked for and given back.
// For scratch without which a call fails, though the way it goes does not use it. Held, it would
// have the heap grow and shrink at every call.
bool probe_memory(std::uint64_t alignment, std::uint64_t size);
bool probe_plain_memory(std::uint64_t size);

// The same as rounded_aligned_alloc, cleared over the whole rounded size.
void* zeroed_aligned_alloc(std::uint64_t alignment, std::uint64_t size);

// malloc, calloc and free; release_memory takes null.
void* plain_alloc(std::uint64_t size);
void* plain_zeroed_alloc(std::uint64_t count, std::uint64_t size);
void release_memory(void* p);

// *result = a * b. Answers 5 when the product needs more than 64 bits, and then leaves *result; 1
// when result is null.
status checked_multiply(std::uint64_t a, std::uint64_t b, std::uint64_t* result);

// Owns one array of T until the end of the scope, whatever way the scope is left.
template <class T>
class scratch {
 public:
  scratch() = default;
  explicit scratch(void* p) : p_(static_cast<T*>(p)) {}
  scratch(const scratch&) = delete;
  scratch& operator=(const scratch&) = delete;
  scratch(scratch&& other) noexcept : p_(other.release()) {}
  scratch& operator=(scratch&& other) noexcept {
    if (this != &other) {
      release_memory(static_cast<void*>(p_));
      p_ = other.release();
    }
    return *this;
  }
  ~scratch() { release_memory(static_cast<void*>(p_)); }

  explicit operator bool() const { return p_ != nullptr; }
  T* get() const { return p_; }
  T& operator[](std::int64_t i) const { return p_[i]; }

  // Hands the array to the caller.
  T* release() {
    T* const p = p_;
    p_ = nullptr;
    return p;
  }

 private:
  T* p_ = nullptr;
};

}  // namespace nevrad
