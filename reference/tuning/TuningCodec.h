// The binary tuning file: a 16-byte header (magic, format version, payload
// size, CRC-32 of the payload) and a little-endian payload. Version 2 is
// version 1's payload followed by the learned model, version 3 version 2's
// followed by the learned dark and top filters, version 4 version 3's
// followed by the learned grey filter. A tuning is written in the oldest
// version that holds it, so libraries built before keep reading it.
#ifndef VIREO_REFERENCE_TUNING_CODEC_H
#define VIREO_REFERENCE_TUNING_CODEC_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "TuningParams.h"

namespace Vireo {
namespace Tuning {

inline constexpr uint8_t kMagic[4] = {'V', 'W', 'B', 'T'};
inline constexpr uint32_t kFormatVersion = 4;  // the newest this build reads
inline constexpr uint32_t kFirstFormatVersion = 1;
inline constexpr size_t kHeaderSize = 16;
inline constexpr const char kDefaultFileName[] = "TintraBinaryParameterSet.bin";

// CRC-32 as zlib computes it (reflected polynomial 0xEDB88320).
uint32_t Crc32(const uint8_t* data, size_t size);

// Header and payload of valid params. Validate() first: Encode does not.
std::vector<uint8_t> Encode(const TuningParams& params);

// Checks the header, the checksum and every range. On failure returns false
// and puts one sentence, without a line end, into *error.
bool Decode(const uint8_t* data, size_t size, TuningParams* params, std::string* error);

// Reads the whole file at path and decodes it; a missing or unreadable file
// is an error like any other.
bool LoadFile(const char* path, std::vector<uint8_t>* bytes, TuningParams* params,
              std::string* error);

}  // namespace Tuning
}  // namespace Vireo

#endif  // VIREO_REFERENCE_TUNING_CODEC_H
