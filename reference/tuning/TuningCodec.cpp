#include "TuningCodec.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace Vireo {
namespace Tuning {

namespace {

// Writes and reads the payload field by field in little-endian order, so the
// file means the same on any host.
class ByteWriter {
public:
    explicit ByteWriter(std::vector<uint8_t>* out) : out_(out) {}
    void U32(uint32_t value) {
        for (int shift = 0; shift < 32; shift += 8) {
            out_->push_back(static_cast<uint8_t>(value >> shift));
        }
    }
    void F32(float value) {
        uint32_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        U32(bits);
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

void EncodePayload(const TuningParams& p, std::vector<uint8_t>* out) {
    ByteWriter w(out);
    w.U32(static_cast<uint32_t>(p.mode));
    for (float value : {p.greyZoneWidth, p.defaultCt, p.darkFraction, p.saturationFraction,
                        p.likelihoodSigma, p.likelihoodStrength, p.likelihoodFloor,
                        p.transverseLimit, p.luxIndexOutdoor, p.luxIndexIndoor}) {
        w.F32(value);
    }
    w.U32(static_cast<uint32_t>(p.ctCurve.size()));
    for (const CurvePoint& point : p.ctCurve) {
        w.F32(point.ct);
        w.F32(point.rOverG);
        w.F32(point.bOverG);
    }
    for (const std::vector<PriorPoint>* prior : {&p.priorOutdoor, &p.priorIndoor}) {
        w.U32(static_cast<uint32_t>(prior->size()));
        for (const PriorPoint& point : *prior) {
            w.F32(point.ct);
            w.F32(point.weight);
        }
    }
    const LearnedModel& m = p.learned;
    if (m.bins == 0) return;
    w.U32(m.bins);
    for (float value : {m.binWidth, m.uStart, m.vStart}) w.F32(value);
    for (const std::vector<float>* map :
         {&m.filterMeans, &m.filterContrast, &m.filterBright, &m.bias}) {
        for (float value : *map) w.F32(value);
    }
}

bool DecodeLearned(ByteReader* r, LearnedModel* m) {
    if (!r->U32(&m->bins) || m->bins == 0 || m->bins > kMaxLearnedBins) return false;
    if (!r->F32(&m->binWidth) || !r->F32(&m->uStart) || !r->F32(&m->vStart)) return false;
    const size_t cells = static_cast<size_t>(m->bins) * m->bins;
    for (std::vector<float>* map :
         {&m->filterMeans, &m->filterContrast, &m->filterBright, &m->bias}) {
        map->resize(cells);
        for (float& value : *map) {
            if (!r->F32(&value)) return false;
        }
    }
    return true;
}

bool DecodePrior(ByteReader* r, std::vector<PriorPoint>* prior) {
    uint32_t count;
    if (!r->U32(&count) || count > kMaxPriorPoints) return false;
    prior->resize(count);
    for (PriorPoint& point : *prior) {
        if (!r->F32(&point.ct) || !r->F32(&point.weight)) return false;
    }
    return true;
}

bool DecodePayload(const uint8_t* data, size_t size, uint32_t version, TuningParams* p) {
    ByteReader r(data, size);
    uint32_t mode;
    if (!r.U32(&mode)) return false;
    p->mode = static_cast<AwbMode>(mode);
    for (float* value : {&p->greyZoneWidth, &p->defaultCt, &p->darkFraction, &p->saturationFraction,
                         &p->likelihoodSigma, &p->likelihoodStrength, &p->likelihoodFloor,
                         &p->transverseLimit, &p->luxIndexOutdoor, &p->luxIndexIndoor}) {
        if (!r.F32(value)) return false;
    }
    uint32_t count;
    if (!r.U32(&count) || count > kMaxCurvePoints) return false;
    p->ctCurve.resize(count);
    for (CurvePoint& point : p->ctCurve) {
        if (!r.F32(&point.ct) || !r.F32(&point.rOverG) || !r.F32(&point.bOverG)) return false;
    }
    if (!DecodePrior(&r, &p->priorOutdoor) || !DecodePrior(&r, &p->priorIndoor)) return false;
    if (version >= 2 && !DecodeLearned(&r, &p->learned)) return false;
    return r.AtEnd();
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
    std::vector<uint8_t> payload;
    EncodePayload(params, &payload);
    std::vector<uint8_t> file(kMagic, kMagic + 4);
    ByteWriter header(&file);
    header.U32(params.learned.bins != 0 ? 2u : 1u);
    header.U32(static_cast<uint32_t>(payload.size()));
    header.U32(Crc32(payload.data(), payload.size()));
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
    if (!DecodePayload(data + kHeaderSize, payloadSize, version, &decoded)) {
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
