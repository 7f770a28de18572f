// Vectors of four floats and four 32-bit integers through the GCC/Clang
// vector extensions, without intrinsics: one SSE or NEON register, so the
// same code serves x86-64 and arm64.
#ifndef VIREO_REFERENCE_LANES_H
#define VIREO_REFERENCE_LANES_H

#include <cstdint>
#include <cstring>

// Inlined into the loops that use them, where the vectors stay in registers.
#define VIREO_LANES_INLINE inline __attribute__((always_inline))

namespace Vireo {
namespace Awb {

typedef float Float4 __attribute__((vector_size(16)));
typedef int32_t Int4 __attribute__((vector_size(16)));
// Scratch arrays have room for the region count rounded up to whole groups.
inline constexpr int kMaxLanes = 4;

template <typename F>
inline constexpr int kLanesOf = static_cast<int>(sizeof(F) / sizeof(float));

// Comparisons of float vectors give integer lane masks of the same width:
// -1 where true, 0 where false.
template <typename F>
using MaskOf = decltype(F{} < F{});

template <typename V, typename T>
VIREO_LANES_INLINE V Load(const T* from) {
    V value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <typename V, typename T>
VIREO_LANES_INLINE void Store(T* to, V value) {
    std::memcpy(to, &value, sizeof value);
}

template <typename V, typename T>
VIREO_LANES_INLINE V Splat(T value) {
    return V{} + value;
}

template <typename F>
VIREO_LANES_INLINE MaskOf<F> BitsOf(F value) {
    MaskOf<F> bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

template <typename I>
VIREO_LANES_INLINE auto FloatOfBits(I bits) {
    typedef float F __attribute__((vector_size(sizeof(I))));
    F value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// Whether any lane of a mask is set: its 64-bit words ORed.
template <typename I>
VIREO_LANES_INLINE bool AnyLane(I mask) {
    uint64_t words[sizeof(I) / 8];
    std::memcpy(words, &mask, sizeof words);
    uint64_t any = 0;
    for (uint64_t word : words) any |= word;
    return any != 0;
}

// How many lanes of a mask are set, or of a sum of masks: each set lane
// counts -1.
template <typename I>
VIREO_LANES_INLINE uint32_t CountLanes(I mask) {
    int32_t sum = 0;
    for (size_t k = 0; k < sizeof(I) / sizeof(int32_t); ++k) sum += mask[k];
    return static_cast<uint32_t>(-sum);
}

// One value in every lane, kept as data so a loop loads it as a whole
// vector rather than broadcasting a scalar at every use.
struct alignas(16) Broadcast {
    float lanes[kMaxLanes];
};

constexpr Broadcast Broadcasted(float v) { return {{v, v, v, v}}; }

template <typename F>
VIREO_LANES_INLINE F Lanes(const Broadcast& value) {
    return Load<F>(value.lanes);
}

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_LANES_H
