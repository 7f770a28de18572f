// A small seeded random source whose sequence is the same with every
// compiler and standard library (the standard distributions are not), so
// that a seed names one data set everywhere.
#ifndef VIREO_DATAGEN_RANDOM_H
#define VIREO_DATAGEN_RANDOM_H

#include <cmath>
#include <cstdint>
#include <initializer_list>

namespace Vireo::Datagen {

class Random {
public:
    // Streams for different purposes (scene, sample, unit) are derived from
    // the seed so that changing one sample count does not reshuffle others.
    Random(uint64_t seed, std::initializer_list<uint64_t> stream) : state_(seed) {
        for (uint64_t s : stream) state_ = Mix(state_ ^ Mix(s + 0x9E3779B97F4A7C15ull));
    }

    uint64_t Next() { return Mix(state_ += 0x9E3779B97F4A7C15ull); }

    // Uniform in [0, 1).
    double Uniform() { return static_cast<double>(Next() >> 11) * (1.0 / 9007199254740992.0); }
    double Uniform(double lo, double hi) { return lo + (hi - lo) * Uniform(); }
    int Index(int count) { return static_cast<int>(Uniform() * count) % count; }

    double Normal() {
        // Box-Muller; one of the pair is dropped to keep the stream simple.
        const double u1 = 1.0 - Uniform(), u2 = Uniform();
        return std::sqrt(-2.0 * std::log(u1)) * std::cos(6.283185307179586 * u2);
    }

private:
    static uint64_t Mix(uint64_t z) {  // splitmix64 finaliser
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    uint64_t state_;
};

}  // namespace Vireo::Datagen

#endif  // VIREO_DATAGEN_RANDOM_H
