#include "TuningCodec.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace Vireo {
namespace Tuning {

namespace {

// Writes and reads the payload field by field in little-endian order, so the
// file means the same on any host. Both take a pointer and answer whether
// the field was there, so that one walk of the layout serves both.
class ByteWriter {
public:
    explicit ByteWriter(std::vector<uint8_t>* out) : out_(out) {}
    bool U32(const uint32_t* value) {
        for (int shift = 0; shift < 32; shift += 8) {
            out_->push_back(static_cast<uint8_t>(*value >> shift));
        }
        return true;
    }
    bool F32(const float* value) {
        uint32_t bits;
        std::memcpy(&bits, value, sizeof bits);
        return U32(&bits);
    }

private:
    std::vector<uint8_t>* out_;
};

class ByteReader {
public:
    ByteReader(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    bool U32(uint32_t* value) {
        if (size_ - position_ < 4) return false;
        *value = 0;
        for (int i = 0; i < 4; ++i) {
            *value |= static_cast<uint32_t>(data_[position_ + i]) << (8 * i);
        }
        position_ += 4;
        return true;
    }
    bool F32(float* value) {
        uint32_t bits;
        if (!U32(&bits)) return false;
        std::memcpy(value, &bits, sizeof bits);
        return true;
    }
    bool AtEnd() const { return position_ == size_; }

private:
    const uint8_t* data_;
    size_t size_;
    size_t position_ = 0;
};

// A list's u32 count; the reader sizes the list to it.
template <class Io, class T>
bool Count(Io& io, std::vector<T>* list, size_t most) {
    auto count = static_cast<uint32_t>(list->size());
    if (!io.U32(&count) || count > most) return false;
    list->resize(count);
    return true;
}

// The payload layout, the one place that says what follows what. Encode
// walks it with a writer over a copy of the params, Decode with a reader.
template <class Io>
bool WalkPayload(Io& io, uint32_t version, TuningParams* p) {
    auto mode = static_cast<uint32_t>(p->mode);
    bool ok = io.U32(&mode);
    p->mode = static_cast<AwbMode>(mode);
    for (const ScalarKey& key : kScalarKeys) ok = ok && io.F32(&(p->*key.member));
    ok = ok && Count(io, &p->ctCurve, kMaxCurvePoints);
    for (CurvePoint& point : p->ctCurve) {
        ok = ok && io.F32(&point.ct) && io.F32(&point.rOverG) && io.F32(&point.bOverG);
    }
    for (std::vector<PriorPoint>* prior : {&p->priorOutdoor, &p->priorIndoor}) {
        ok = ok && Count(io, prior, kMaxPriorPoints);
        for (PriorPoint& point : *prior) ok = ok && io.F32(&point.ct) && io.F32(&point.weight);
    }
    if (!ok || version < 2) return ok;
    LearnedModel& m = p->learned;
    if (!io.U32(&m.bins) || m.bins == 0 || m.bins > kMaxLearnedBins) return false;
    ok = io.F32(&m.binWidth) && io.F32(&m.uStart) && io.F32(&m.vStart);
    const size_t cells = static_cast<size_t>(m.bins) * m.bins;
    for (const LearnedMapKey& key : kLearnedMapKeys) {
        if (version < key.sinceVersion) continue;
        std::vector<float>& map = m.*key.member;
        map.resize(cells);
        for (float& value : map) ok = ok && io.F32(&value);
    }
    return ok;
}

uint32_t ReadU32(const uint8_t* data) {
    return static_cast<uint32_t>(data[0]) | static_cast<uint32_t>(data[1]) << 8 |
           static_cast<uint32_t>(data[2]) << 16 | static_cast<uint32_t>(data[3]) << 24;
}

}  // namespace

uint32_t Crc32(const uint8_t* data, size_t size) {
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t i = 0; i < size; ++i) {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
        }
    }
    return ~crc;
}

std::vector<uint8_t> Encode(const TuningParams& params) {
    // The oldest version that holds everything (the newest of the maps the
    // model has), so that older libraries keep reading what they can use.
    const LearnedModel& m = params.learned;
    uint32_t version = m.bins != 0 ? 2u : 1u;
    for (const LearnedMapKey& key : kLearnedMapKeys) {
        if (!(m.*key.member).empty()) version = std::max(version, key.sinceVersion);
    }
    std::vector<uint8_t> payload;
    ByteWriter writer(&payload);
    TuningParams walked = params;
    WalkPayload(writer, version, &walked);
    std::vector<uint8_t> file(kMagic, kMagic + 4);
    ByteWriter header(&file);
    const uint32_t words[] = {version, static_cast<uint32_t>(payload.size()),
                              Crc32(payload.data(), payload.size())};
    for (const uint32_t& word : words) header.U32(&word);
    file.insert(file.end(), payload.begin(), payload.end());
    return file;
}

bool Decode(const uint8_t* data, size_t size, TuningParams* params, std::string* error) {
    char line[160];
    if (size < kHeaderSize) {
        std::snprintf(line, sizeof line, "truncated: %zu bytes, shorter than the %zu-byte header",
                      size, kHeaderSize);
        *error = line;
        return false;
    }
    if (std::memcmp(data, kMagic, sizeof kMagic) != 0) {
        *error = "not a tuning file: the magic is not VWBT";
        return false;
    }
    const uint32_t version = ReadU32(data + 4);
    if (version < kFirstFormatVersion || version > kFormatVersion) {
        std::snprintf(line, sizeof line, "format version %u, this build reads versions %u to %u",
                      version, kFirstFormatVersion, kFormatVersion);
        *error = line;
        return false;
    }
    const uint32_t payloadSize = ReadU32(data + 8);
    if (payloadSize != size - kHeaderSize) {
        std::snprintf(line, sizeof line,
                      "%s: the header announces %u payload bytes, the file holds %zu",
                      payloadSize > size - kHeaderSize ? "truncated" : "trailing bytes",
                      payloadSize, size - kHeaderSize);
        *error = line;
        return false;
    }
    const uint32_t crc = Crc32(data + kHeaderSize, payloadSize);
    if (crc != ReadU32(data + 12)) {
        std::snprintf(line, sizeof line, "corrupted: checksum %08x, the header says %08x", crc,
                      ReadU32(data + 12));
        *error = line;
        return false;
    }
    TuningParams decoded;
    ByteReader reader(data + kHeaderSize, payloadSize);
    if (!WalkPayload(reader, version, &decoded) || !reader.AtEnd()) {
        *error = "malformed payload: its lists do not match its size";
        return false;
    }
    const std::string invalid = Validate(decoded);
    if (!invalid.empty()) {
        *error = "invalid value: " + invalid;
        return false;
    }
    *params = std::move(decoded);
    return true;
}

bool LoadFile(const char* path, std::vector<uint8_t>* bytes, TuningParams* params,
              std::string* error) {
    if (path == nullptr) {
        *error = "no tuning file path given";
        return false;
    }
    std::FILE* file = std::fopen(path, "rb");
    if (file == nullptr) {
        *error = std::string("cannot open ") + path + ": " + std::strerror(errno);
        return false;
    }
    bytes->clear();
    uint8_t chunk[4096];
    size_t got;
    // Tuning files are a few hundred bytes, 50 KB with a learned model; a cap keeps a wrong path (a
    // device, a huge file) from eating memory.
    constexpr size_t kMaxFileSize = 1 << 20;
    while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0 && bytes->size() <= kMaxFileSize) {
        bytes->insert(bytes->end(), chunk, chunk + got);
    }
    const bool readError = std::ferror(file) != 0;
    std::fclose(file);
    if (readError) {
        *error = std::string("cannot read ") + path;
        return false;
    }
    if (bytes->size() > kMaxFileSize) {
        *error = std::string(path) + " is larger than 1 MiB, not a tuning file";
        return false;
    }
    return Decode(bytes->data(), bytes->size(), params, error);
}

}  // namespace Tuning
}  // namespace Vireo
