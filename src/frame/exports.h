// The one mechanism by which an entry gets its exported forms.
//
//   NEVRAD_ENTRY(name, body, (value, int, m), (array, const float, x), ...)
//
// defines `name`, which calls `body` with its arguments as they are, and `name_`, which takes every
// value through a pointer, reads it once and calls `name`. Both are declared in nevrad.h, so the
// compiler holds the list of arguments against the header. A complex entry of two forms goes on to
// the second one, an entry of its own that is not exported, on a core that has the rotations.
#pragma once

#include "frame/core.h"

#define NEVRAD_PUBLIC __attribute__((visibility("default")))

#if defined(NEVRAD_SECOND_FORM)
#define NEVRAD_ENTRY(name, body, ...)                                                             \
  extern "C" ::nevrad::status nevrad_rotating_##name(NEVRAD_MAP(NEVRAD_PARAMETER, __VA_ARGS__)) { \
    return body(NEVRAD_MAP(NEVRAD_ARGUMENT, __VA_ARGS__));                                        \
  }
#else
#define NEVRAD_ENTRY(name, body, ...)                                                            \
  extern "C" ::nevrad::status nevrad_rotating_##name(NEVRAD_MAP(NEVRAD_PARAMETER, __VA_ARGS__)); \
  extern "C" NEVRAD_PUBLIC ::nevrad::status name(NEVRAD_MAP(NEVRAD_PARAMETER, __VA_ARGS__)) {    \
    if constexpr (::nevrad::two_forms && ::nevrad::takes_complex(name)) {                        \
      if (::nevrad::core_rotates) {                                                              \
        return nevrad_rotating_##name(NEVRAD_MAP(NEVRAD_ARGUMENT, __VA_ARGS__));                 \
      }                                                                                          \
      [[clang::noinline]] return body(NEVRAD_MAP(NEVRAD_ARGUMENT, __VA_ARGS__));                 \
    } else {                                                                                     \
      return body(NEVRAD_MAP(NEVRAD_ARGUMENT, __VA_ARGS__));                                     \
    }                                                                                            \
  }                                                                                              \
  extern "C" NEVRAD_PUBLIC ::nevrad::status name##_(NEVRAD_MAP(NEVRAD_REFERENCE, __VA_ARGS__)) { \
    return name(NEVRAD_MAP(NEVRAD_DEREFERENCED, __VA_ARGS__));                                   \
  }
#endif

#define NEVRAD_PARAMETER(kind, type, name) NEVRAD_PARAMETER_##kind(type, name)
#define NEVRAD_PARAMETER_value(type, name) type name
#define NEVRAD_PARAMETER_array(type, name) type* name

#define NEVRAD_ARGUMENT(kind, type, name) name

#define NEVRAD_REFERENCE(kind, type, name) NEVRAD_REFERENCE_##kind(type, name)
#define NEVRAD_REFERENCE_value(type, name) const type* name
#define NEVRAD_REFERENCE_array(type, name) type* name

#define NEVRAD_DEREFERENCED(kind, type, name) NEVRAD_DEREFERENCED_##kind(name)
#define NEVRAD_DEREFERENCED_value(name) *name
#define NEVRAD_DEREFERENCED_array(name) name

// Applies f to each parenthesised argument, with commas between the results.
#define NEVRAD_MAP(f, ...) __VA_OPT__(NEVRAD_EXPAND(NEVRAD_MAP_STEP(f, __VA_ARGS__)))
#define NEVRAD_MAP_STEP(f, x, ...) f x __VA_OPT__(, NEVRAD_MAP_AGAIN NEVRAD_NOTHING(f, __VA_ARGS__))
#define NEVRAD_MAP_AGAIN() NEVRAD_MAP_STEP
#define NEVRAD_NOTHING ()
#define NEVRAD_EXPAND(...) NEVRAD_EXPAND_4(NEVRAD_EXPAND_4(__VA_ARGS__))
#define NEVRAD_EXPAND_4(...) NEVRAD_EXPAND_2(NEVRAD_EXPAND_2(__VA_ARGS__))
#define NEVRAD_EXPAND_2(...) NEVRAD_EXPAND_1(NEVRAD_EXPAND_1(__VA_ARGS__))
#define NEVRAD_EXPAND_1(...) NEVRAD_EXPAND_0(NEVRAD_EXPAND_0(__VA_ARGS__))
#define NEVRAD_EXPAND_0(...) __VA_ARGS__
