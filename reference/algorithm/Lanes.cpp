#include "Lanes.h"

namespace Vireo {
namespace Awb {

bool UseWideLanes() {
#if VIREO_WIDE_LANES
    static const bool wide = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx2") != 0;
    }();
    return wide;
#else
    return false;
#endif
}

}  // namespace Awb
}  // namespace Vireo
