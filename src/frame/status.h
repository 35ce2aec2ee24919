// Status codes and the public declarations, seen with our own complex records in place of the
// caller's, so that the compiler holds every entry against the header.
#pragma once

#include "arith/element.h"

#define NEVRAD_COMPLEX_FLOAT ::nevrad::complex32
#define NEVRAD_COMPLEX_DOUBLE ::nevrad::complex64
#include "nevrad.h"

namespace nevrad {

using status = orv_sparse_status_t;

inline constexpr status success = ORV_SPARSE_STATUS_SUCCESS;
inline constexpr status null_pointer = ORV_SPARSE_STATUS_NULL_POINTER;
inline constexpr status alloc_failed = ORV_SPARSE_STATUS_ALLOC_FAILED;
inline constexpr status invalid_value = ORV_SPARSE_STATUS_INVALID_VALUE;
inline constexpr status overflow = ORV_SPARSE_STATUS_OVERFLOW;
inline constexpr status not_supported = ORV_SPARSE_STATUS_NOT_SUPPORTED;

}  // namespace nevrad
