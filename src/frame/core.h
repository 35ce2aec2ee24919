// The choice between the two forms of the complex kernels.
#pragma once

#include "frame/status.h"

#include <type_traits>

namespace nevrad {

#if defined(NEVRAD_TWO_FORMS)
inline constexpr bool two_forms = true;
#else
inline constexpr bool two_forms = false;
#endif

// Whether this core has the complex rotations of Armv8.3: asked once, when the library is loaded.
// Until then it says no, which is right on every core: both forms give the same bits.
extern bool core_rotates;

// Whether the entry works on complex elements.
template <class... Arguments>
consteval bool takes_complex(status (*)(Arguments...)) {
  return (is_complex<std::remove_cv_t<std::remove_pointer_t<Arguments>>> || ...);
}

}  // namespace nevrad
