#include "frame/core.h"

#if defined(NEVRAD_TWO_FORMS)

#include <asm/hwcap.h>
#include <sys/auxv.h>

namespace nevrad {

bool core_rotates = (getauxval(AT_HWCAP) & HWCAP_FCMA) != 0;

}  // namespace nevrad

#endif
