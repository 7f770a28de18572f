// Four floats or four 32-bit integers in one vector register, through the
// GCC/Clang vector extensions: SSE on x86-64 and NEON on arm64 alike,
// without intrinsics of either. The per-region passes work on four regions
// at a time with these.
#ifndef VIREO_REFERENCE_VECTOR4_H
#define VIREO_REFERENCE_VECTOR4_H

#include <cstdint>
#include <cstring>

namespace Vireo {
namespace Awb {

typedef float Float4 __attribute__((vector_size(16)));
typedef int32_t Int4 __attribute__((vector_size(16)));

// Comparisons of vectors give Int4 lane masks: -1 where true, 0 where false.

inline Float4 Load4(const float* from) {
    Float4 value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

inline void Store4(float* to, Float4 value) { std::memcpy(to, &value, sizeof value); }

inline Float4 Broadcast4(float value) { return Float4{value, value, value, value}; }

inline Int4 BitsOf(Float4 value) {
    Int4 bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

inline Float4 FloatOfBits(Int4 bits) {
    Float4 value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// Whether any lane of a mask is set: the two halves ORed as 64-bit words.
inline bool AnyLane(Int4 mask) {
    uint64_t halves[2];
    std::memcpy(halves, &mask, sizeof halves);
    return (halves[0] | halves[1]) != 0;
}

// How many lanes of a mask are set, or of a sum of masks: each set lane
// counts -1.
inline uint32_t CountLanes(Int4 mask) {
    return static_cast<uint32_t>(-(mask[0] + mask[1] + mask[2] + mask[3]));
}

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_VECTOR4_H
