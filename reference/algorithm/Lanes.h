// Vectors of floats and 32-bit integers through the GCC/Clang vector
// extensions, without intrinsics. The per-region passes are written once,
// for any lane count, and built twice where that pays: eight lanes for
// processors with AVX2 (one 256-bit register), four for everything else
// (one SSE or NEON register). Eight lanes on a processor without 256-bit
// registers would be split by the compiler into far slower code, which is
// why the width is a template parameter and not one fixed type.
#ifndef VIREO_REFERENCE_LANES_H
#define VIREO_REFERENCE_LANES_H

#include <cstdint>
#include <cstring>

// The AVX2 build of the passes exists on x86-64 with GCC; elsewhere (arm64,
// Android, Clang's fuzz builds) only the four-lane one. Without FMA
// contraction both give the same numbers.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__ANDROID__) && \
    !defined(VIREO_NO_WIDE_LANES)
#define VIREO_WIDE_LANES 1
#define VIREO_TARGET_WIDE __attribute__((target("avx2")))
#else
#define VIREO_WIDE_LANES 0
#endif

// The per-lane helpers must be inlined into the build they are used in:
// out of line they would be compiled for the baseline and pass eight lanes
// through memory.
#define VIREO_LANES_INLINE inline __attribute__((always_inline))

namespace Vireo {
namespace Awb {

typedef float Float4 __attribute__((vector_size(16)));
typedef int32_t Int4 __attribute__((vector_size(16)));
// The alignment is spelled out: without AVX the compiler gives these types
// only 16 bytes.
typedef float Float8 __attribute__((vector_size(32), aligned(32)));
typedef int32_t Int8 __attribute__((vector_size(32), aligned(32)));

// The widest lane count; constant tables and scratch arrays are laid out
// for it, and narrower builds read their first lanes.
inline constexpr int kMaxLanes = 8;

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

// One value in every lane of the widest build, so a build of any width
// loads it as a vector of its own width.
struct alignas(32) Broadcast {
    float lanes[kMaxLanes];
};

constexpr Broadcast Broadcasted(float v) { return {{v, v, v, v, v, v, v, v}}; }

template <typename F>
VIREO_LANES_INLINE F Lanes(const Broadcast& value) {
    return Load<F>(value.lanes);
}

// Whether this processor runs the eight-lane build.
bool UseWideLanes();

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_LANES_H
