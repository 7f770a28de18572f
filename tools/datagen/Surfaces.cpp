#include "Surfaces.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "ReferenceCurves.h"

namespace Vireo::Datagen {
namespace {

double Sigmoid(double x) { return 0.5 + x / (2.0 * std::sqrt(1.0 + x * x)); }

Spectrum SigmoidReflectance(const double c[3]) {
    Spectrum r;
    for (int i = 0; i < kBandCount; ++i) {
        const double t = (BandNm(i) - 580.0) / 200.0;
        r[i] = Sigmoid(c[0] * t * t + c[1] * t + c[2]);
    }
    return r;
}

const Spectrum& D50() {
    static const Spectrum d50 = WithLuminance(Daylight(5003.0), 1.0);
    return d50;
}

double LabF(double t) {
    constexpr double e = 216.0 / 24389.0, k = 24389.0 / 27.0;
    return t > e ? std::cbrt(t) : (k * t + 16.0) / 116.0;
}

Lab XyzToLab(const Xyz& xyz, const Xyz& white) {
    const double fx = LabF(xyz.x / white.x), fy = LabF(xyz.y / white.y), fz = LabF(xyz.z / white.z);
    return {116.0 * fy - 16.0, 500.0 * (fx - fy), 200.0 * (fy - fz)};
}

double Diff2(const Lab& a, const Lab& b) {
    return (a.l - b.l) * (a.l - b.l) + (a.a - b.a) * (a.a - b.a) + (a.b - b.b) * (a.b - b.b);
}

struct CatalogueEntry {
    const char* name;
    Lab lab;
    bool neutral;
};

// Typical colours of everyday surfaces under D50, from colorimetry
// handbooks' ranges; what matters for white balance is that scenes carry
// the mix of near-neutrals and strong colours that real scenes have.
constexpr CatalogueEntry kCatalogue[] = {
    {"white paint", {93.0, -0.5, 2.5}, true},
    {"warm white paint", {90.0, 1.5, 8.0}, false},
    {"grey paint", {72.0, -0.5, 1.0}, true},
    {"booth grey", {68.0, 0.0, 0.0}, true},
    {"paper", {95.0, 0.5, -2.0}, true},
    {"concrete", {62.0, 0.5, 4.0}, true},
    {"asphalt", {32.0, 0.0, 1.0}, true},
    {"black plastic", {22.0, 0.0, -0.5}, true},
    {"chart black", {18.0, 0.0, 0.0}, true},
    {"ceiling tile", {88.0, 0.0, 1.5}, true},
    {"grey carpet", {45.0, -1.0, -3.0}, true},
    {"steel", {60.0, -0.5, -1.5}, true},
    {"foliage", {43.0, -13.0, 22.0}, false},
    {"dark foliage", {32.0, -15.0, 18.0}, false},
    {"grass", {52.0, -28.0, 38.0}, false},
    {"bark", {36.0, 5.0, 12.0}, false},
    {"soil", {45.0, 8.0, 18.0}, false},
    {"sand", {68.0, 4.0, 20.0}, false},
    {"brick", {44.0, 28.0, 24.0}, false},
    {"terracotta", {55.0, 25.0, 32.0}, false},
    {"wood floor", {55.0, 12.0, 28.0}, false},
    {"dark wood", {35.0, 10.0, 18.0}, false},
    {"beige fabric", {75.0, 4.0, 15.0}, false},
    {"light skin", {66.0, 18.0, 18.0}, false},
    {"dark skin", {38.0, 14.0, 14.0}, false},
    {"red plastic", {45.0, 62.0, 42.0}, false},
    {"orange plastic", {62.0, 42.0, 62.0}, false},
    {"yellow plastic", {82.0, 4.0, 78.0}, false},
    {"green plastic", {52.0, -48.0, 32.0}, false},
    {"blue plastic", {38.0, 12.0, -52.0}, false},
    {"purple fabric", {35.0, 35.0, -30.0}, false},
    {"pink fabric", {70.0, 32.0, 2.0}, false},
    {"teal fabric", {50.0, -30.0, -15.0}, false},
    {"navy fabric", {25.0, 5.0, -25.0}, false},
    {"red fabric", {38.0, 50.0, 28.0}, false},
    {"olive fabric", {45.0, -5.0, 30.0}, false},
};

std::vector<Surface> MakeCatalogue() {
    std::vector<Surface> list;
    for (const auto& e : kCatalogue) list.push_back({e.name, ReflectanceFromLab(e.lab), e.neutral});
    return list;
}

}  // namespace

Lab LabUnderD50(const Spectrum& reflectance) {
    return XyzToLab(ToXyz(D50(), reflectance), ToXyz(D50()));
}

Spectrum ReflectanceFromLab(const Lab& target) {
    // Gauss-Newton on the three coefficients with a numerical Jacobian; a
    // step that does not improve the match is halved.
    double c[3] = {0.0, 0.0, (target.l - 50.0) / 25.0};
    double err = Diff2(LabUnderD50(SigmoidReflectance(c)), target);
    for (int iter = 0; iter < 100 && err > 1e-8; ++iter) {
        const Lab now = LabUnderD50(SigmoidReflectance(c));
        double j[3][3];
        for (int k = 0; k < 3; ++k) {
            double d[3] = {c[0], c[1], c[2]};
            d[k] += 1e-5;
            const Lab moved = LabUnderD50(SigmoidReflectance(d));
            j[0][k] = (moved.l - now.l) / 1e-5;
            j[1][k] = (moved.a - now.a) / 1e-5;
            j[2][k] = (moved.b - now.b) / 1e-5;
        }
        const double r[3] = {target.l - now.l, target.a - now.a, target.b - now.b};
        // Solve (J^T J + mu I) step = J^T r.
        double a[3][3], g[3];
        for (int p = 0; p < 3; ++p) {
            g[p] = 0.0;
            for (int q = 0; q < 3; ++q) {
                a[p][q] = 0.0;
                for (int k = 0; k < 3; ++k) a[p][q] += j[k][p] * j[k][q];
            }
            a[p][p] += 1e-6;
            for (int k = 0; k < 3; ++k) g[p] += j[k][p] * r[k];
        }
        const double det = a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) -
                           a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
                           a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0]);
        if (std::fabs(det) < 1e-30) break;
        double step[3];
        for (int p = 0; p < 3; ++p) {
            double m[3][3];
            for (int x = 0; x < 3; ++x)
                for (int y = 0; y < 3; ++y) m[x][y] = y == p ? g[x] : a[x][y];
            step[p] = (m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                       m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                       m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0])) /
                      det;
        }
        double scale = 1.0;
        for (int half = 0; half < 20; ++half, scale *= 0.5) {
            const double trial[3] = {c[0] + scale * step[0], c[1] + scale * step[1],
                                     c[2] + scale * step[2]};
            const double e = Diff2(LabUnderD50(SigmoidReflectance(trial)), target);
            if (e < err) {
                err = e;
                c[0] = trial[0], c[1] = trial[1], c[2] = trial[2];
                break;
            }
        }
        if (scale < 1e-5) break;
    }
    return SigmoidReflectance(c);
}

const std::vector<Surface>& ColorCheckerPatches() {
    static const std::vector<Surface> patches = [] {
        std::vector<Surface> list;
        for (const auto& p : Tables::kColorChecker)
            list.push_back({p.id, ReflectanceFromLab({p.l, p.a, p.b}), p.id[0] == 'D'});
        return list;
    }();
    return patches;
}

const std::vector<Surface>& Catalogue() {
    static const std::vector<Surface> list = MakeCatalogue();
    return list;
}

const Surface& CatalogueSurface(const std::string& name) {
    for (const auto& s : Catalogue())
        if (s.name == name) return s;
    std::fprintf(stderr, "vireo-datagen: no catalogue surface \"%s\"\n", name.c_str());
    std::abort();
}

}  // namespace Vireo::Datagen
