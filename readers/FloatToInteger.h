// Conversions of the readers' single-precision value slots into the integer
// fields of the records: truncation toward zero, as a C cast does. A plain
// cast of a value outside the target's range (or of NaN) is undefined
// behaviour, so these saturate instead: too large gives the type's maximum,
// too small its minimum (0 for unsigned fields), and NaN gives 0.
#ifndef VIREO_FLOAT_TO_INTEGER_H
#define VIREO_FLOAT_TO_INTEGER_H

#include <cstdint>
#include <limits>

namespace Vireo {

inline int32_t FloatToInt32(float value) {
    if (value != value) {
        return 0;
    }
    if (value >= 2147483648.0f) {
        return std::numeric_limits<int32_t>::max();
    }
    if (value < -2147483648.0f) {
        return std::numeric_limits<int32_t>::min();
    }
    return static_cast<int32_t>(value);
}

inline uint32_t FloatToUInt32(float value) {
    if (!(value > 0.0f)) {  // negatives, zeros and NaN
        return 0;
    }
    if (value >= 4294967296.0f) {
        return std::numeric_limits<uint32_t>::max();
    }
    return static_cast<uint32_t>(value);
}

}  // namespace Vireo

#endif  // VIREO_FLOAT_TO_INTEGER_H
