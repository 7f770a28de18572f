#include "CameraProfile.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>

#include "CameraTables.h"

namespace Vireo::Datagen {
namespace {

// TIFF tags of a DNG camera profile that the generator needs.
constexpr uint16_t kTagUniqueCameraModel = 50708;
constexpr uint16_t kTagColorMatrix1 = 50721;
constexpr uint16_t kTagColorMatrix2 = 50722;
constexpr uint16_t kTagCalibrationIlluminant1 = 50778;
constexpr uint16_t kTagCalibrationIlluminant2 = 50779;
constexpr uint16_t kTagProfileName = 50936;
constexpr uint16_t kTypeShort = 3;
constexpr uint16_t kTypeSRational = 10;

class TiffBytes {
public:
    explicit TiffBytes(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)) {}
    bool Has(std::size_t at, std::size_t n) const {
        return at <= bytes_.size() && n <= bytes_.size() - at;
    }
    void SetBigEndian(bool big) { big_ = big; }
    uint32_t U(std::size_t at, int width) const {
        uint32_t v = 0;
        for (int i = 0; i < width; ++i) {
            const uint32_t byte = bytes_[at + static_cast<std::size_t>(big_ ? i : width - 1 - i)];
            v = (v << 8) | byte;
        }
        return v;
    }
    const uint8_t* Data(std::size_t at) const { return bytes_.data() + at; }

private:
    std::vector<uint8_t> bytes_;
    bool big_ = false;
};

}  // namespace

double LightSourceKelvin(int exifLightSource) {
    switch (exifLightSource) {
        case 1:
        case 4:
        case 9:
            return 5500.0;  // daylight, flash, fine weather
        case 2:
        case 14:
            return 4150.0;  // fluorescent, cool white
        case 3:
        case 17:
            return 2856.0;  // tungsten, standard light A
        case 10:
            return 6500.0;  // cloudy
        case 11:
            return 7500.0;  // shade
        case 12:
            return 6430.0;  // daylight fluorescent
        case 13:
            return 5000.0;  // day white fluorescent
        case 15:
            return 3450.0;  // white fluorescent
        case 16:
            return 2940.0;  // warm white fluorescent
        case 18:
            return 4874.0;  // standard light B
        case 19:
            return 6774.0;  // standard light C
        case 20:
            return 5503.0;  // D55
        case 21:
            return 6504.0;  // D65
        case 22:
            return 7504.0;  // D75
        case 23:
            return 5003.0;  // D50
        case 24:
            return 3200.0;  // ISO studio tungsten
        default:
            return 0.0;
    }
}

Matrix3 ColorMatrixAt(const CameraProfile& profile, double kelvin) {
    const double t1 = LightSourceKelvin(profile.calibrationIlluminant1);
    const double t2 = LightSourceKelvin(profile.calibrationIlluminant2);
    if (t1 <= 0.0 || t2 <= 0.0 || t1 == t2) return profile.colorMatrix1;
    // Weight of matrix 1, linear in mired and clamped to the calibrated range.
    double w = (1.0 / kelvin - 1.0 / t2) / (1.0 / t1 - 1.0 / t2);
    w = std::clamp(w, 0.0, 1.0);
    Matrix3 m;
    for (int i = 0; i < 9; ++i)
        m[i] = w * profile.colorMatrix1[i] + (1.0 - w) * profile.colorMatrix2[i];
    return m;
}

Rgb ToCamera(const Matrix3& m, const Xyz& xyz) {
    return {m[0] * xyz.x + m[1] * xyz.y + m[2] * xyz.z, m[3] * xyz.x + m[4] * xyz.y + m[5] * xyz.z,
            m[6] * xyz.x + m[7] * xyz.y + m[8] * xyz.z};
}

const std::vector<CameraProfile>& BuiltInCameras() {
    static const std::vector<CameraProfile> cameras = [] {
        std::vector<CameraProfile> list;
        for (const auto& c : Tables::kCameras) {
            CameraProfile p;
            p.name = c.name;
            std::copy(std::begin(c.colorMatrix1), std::end(c.colorMatrix1), p.colorMatrix1.begin());
            std::copy(std::begin(c.colorMatrix2), std::end(c.colorMatrix2), p.colorMatrix2.begin());
            p.calibrationIlluminant1 = c.illuminant1;
            p.calibrationIlluminant2 = c.illuminant2;
            list.push_back(p);
        }
        return list;
    }();
    return cameras;
}

bool ReadDcpProfile(const std::string& path, CameraProfile& profile, std::string& error) {
    // A folder opens like a file but throws on the first read.
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0 && !S_ISREG(st.st_mode)) {
        error = path + " is not a file";
        return false;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot open " + path;
        return false;
    }
    TiffBytes tiff(std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {}));
    if (!tiff.Has(0, 8)) {
        error = path + " is too short for a camera profile";
        return false;
    }
    // "IIRC" or "MMCR": TIFF byte order with the camera profile's own magic.
    const uint8_t* head = tiff.Data(0);
    if (head[0] == 'M' && head[1] == 'M')
        tiff.SetBigEndian(true);
    else if (!(head[0] == 'I' && head[1] == 'I')) {
        error = path + " is not a camera profile";
        return false;
    }
    const std::size_t ifd = tiff.U(4, 4);
    if (!tiff.Has(ifd, 2)) {
        error = path + ": bad directory offset";
        return false;
    }
    const uint32_t entries = tiff.U(ifd, 2);
    bool have1 = false, have2 = false;
    CameraProfile p;
    for (uint32_t e = 0; e < entries; ++e) {
        const std::size_t at = ifd + 2 + 12 * e;
        if (!tiff.Has(at, 12)) break;
        const uint16_t tag = static_cast<uint16_t>(tiff.U(at, 2));
        const uint16_t type = static_cast<uint16_t>(tiff.U(at + 2, 2));
        const uint32_t count = tiff.U(at + 4, 4);
        if ((tag == kTagColorMatrix1 || tag == kTagColorMatrix2) && type == kTypeSRational &&
            count == 9) {
            const std::size_t data = tiff.U(at + 8, 4);
            if (!tiff.Has(data, 72)) continue;
            Matrix3& m = tag == kTagColorMatrix1 ? p.colorMatrix1 : p.colorMatrix2;
            for (int i = 0; i < 9; ++i) {
                const auto num = static_cast<int32_t>(tiff.U(data + 8 * i, 4));
                const auto den = static_cast<int32_t>(tiff.U(data + 8 * i + 4, 4));
                m[i] = den != 0 ? static_cast<double>(num) / den : 0.0;
            }
            (tag == kTagColorMatrix1 ? have1 : have2) = true;
        } else if ((tag == kTagCalibrationIlluminant1 || tag == kTagCalibrationIlluminant2) &&
                   type == kTypeShort) {
            (tag == kTagCalibrationIlluminant1 ? p.calibrationIlluminant1
                                               : p.calibrationIlluminant2) =
                static_cast<int>(tiff.U(at + 8, 2));
        } else if ((tag == kTagUniqueCameraModel || (tag == kTagProfileName && p.name.empty())) &&
                   type == 2) {
            const std::size_t data = count <= 4 ? at + 8 : tiff.U(at + 8, 4);
            if (tiff.Has(data, count))
                p.name.assign(reinterpret_cast<const char*>(tiff.Data(data)),
                              count > 0 ? count - 1 : 0);
        }
    }
    if (!have1) {
        error = path + " has no ColorMatrix1";
        return false;
    }
    if (!have2) {  // a single-illuminant profile: one matrix for every light
        p.colorMatrix2 = p.colorMatrix1;
        p.calibrationIlluminant2 = p.calibrationIlluminant1;
    }
    // A matrix that maps some colour to black (a zero matrix, say) has no
    // white point: every ground truth would be NaN.
    for (const Matrix3* m : {&p.colorMatrix1, &p.colorMatrix2}) {
        const Matrix3& a = *m;
        const double det = a[0] * (a[4] * a[8] - a[5] * a[7]) - a[1] * (a[3] * a[8] - a[5] * a[6]) +
                           a[2] * (a[3] * a[7] - a[4] * a[6]);
        if (!(std::fabs(det) > 1e-9)) {
            error = path + ": a colour matrix is singular (determinant " + std::to_string(det) +
                    "), no camera responds like that";
            return false;
        }
    }
    profile = p;
    return true;
}

bool FindCamera(const std::string& name, const std::string& profileDir, CameraProfile& profile,
                std::string& error) {
    for (const auto& c : BuiltInCameras()) {
        if (c.name == name) {
            profile = c;
            return true;
        }
    }
    const bool isPath = name.size() > 4 && name.compare(name.size() - 4, 4, ".dcp") == 0;
    const std::string path = isPath ? name : profileDir + "/" + name + ".dcp";
    if (!ReadDcpProfile(path, profile, error)) {
        error += " (built-in cameras:";
        for (const auto& c : BuiltInCameras()) error += " \"" + c.name + "\"";
        error += "; others need Debian's rawtherapee-data: apt-get install rawtherapee-data)";
        return false;
    }
    if (!isPath) profile.name = name;
    return true;
}

}  // namespace Vireo::Datagen
