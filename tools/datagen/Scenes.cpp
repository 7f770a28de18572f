#include "Scenes.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "Random.h"
#include "RunDriver.h"
#include "Surfaces.h"

namespace Vireo::Datagen {
namespace {

constexpr double kAspect = 4608.0 / 3456.0;  // frame width over height

// Builds a scene instance piece by piece.
class Painter {
public:
    explicit Painter(SceneInstance& s) : s_(s) {}

    int Surface(const std::string& name, double texture = 0.08) {
        return Add({name, CatalogueSurface(name).reflectance, false, 0.0, texture});
    }
    int Patch(int index) {
        const auto& p = ColorCheckerPatches()[static_cast<std::size_t>(index)];
        return Add({p.name, p.reflectance, false, 0.0, 0.02});
    }
    int Emitter(const std::string& name, const Spectrum& light, double radiance,
                double texture = 0.05) {
        return Add({name, WithLuminance(light, 1.0), true, radiance, texture});
    }
    Shape& Rect(double u0, double v0, double u1, double v1, int material, double light = 1.0) {
        s_.shapes.push_back({Shape::Type::Rect, u0, v0, u1, v1, material, light, false});
        return s_.shapes.back();
    }
    // Circle-like shapes are given by centre and radius in frame heights.
    Shape& Ellipse(double cu, double cv, double ru, double rv, int material, double light = 1.0) {
        s_.shapes.push_back({Shape::Type::Ellipse, cu - ru / kAspect, cv - rv, cu + ru / kAspect,
                             cv + rv, material, light, false});
        return s_.shapes.back();
    }
    Shape& Sphere(double cu, double cv, double r, int material) {
        s_.shapes.push_back({Shape::Type::Sphere, cu - r / kAspect, cv - r, cu + r / kAspect,
                             cv + r, material, 1.0, false});
        return s_.shapes.back();
    }

private:
    int Add(Material m) {
        s_.materials.push_back(std::move(m));
        return static_cast<int>(s_.materials.size()) - 1;
    }
    SceneInstance& s_;
};

template <std::size_t N>
const char* Pick(Random& rng, const char* const (&names)[N]) {
    return names[rng.Index(static_cast<int>(N))];
}

const char* const kStrongColours[] = {"red plastic",  "yellow plastic", "green plastic",
                                      "blue plastic", "orange plastic", "purple fabric",
                                      "pink fabric",  "teal fabric",    "red fabric"};
const char* const kFabrics[] = {"beige fabric", "navy fabric", "red fabric",    "olive fabric",
                                "teal fabric",  "pink fabric", "purple fabric", "grey carpet"};
const char* const kWalls[] = {"white paint", "warm white paint", "grey paint", "white paint"};

// A few random objects of random colours, scattered over a strip of the frame.
void Clutter(Painter& p, Random& rng, int count, double v0, double v1) {
    for (int i = 0; i < count; ++i) {
        const double cu = rng.Uniform(0.05, 0.95), cv = rng.Uniform(v0, v1);
        const double w = rng.Uniform(0.03, 0.09), h = rng.Uniform(0.03, 0.1);
        const int m =
            rng.Uniform() < 0.5 ? p.Surface(Pick(rng, kStrongColours)) : p.Patch(rng.Index(18));
        if (rng.Uniform() < 0.5)
            p.Rect(cu - w, cv - h, cu + w, cv + h, m, rng.Uniform(0.7, 1.0));
        else
            p.Ellipse(cu, cv, h, h, m, rng.Uniform(0.7, 1.0));
    }
}

Light IndoorDaylight(Random& rng) {
    return DaylightLight(rng.Uniform(5000, 7000), "window daylight");
}

void Ball(SceneInstance& s, Random& rng, int /*sampleIndex*/) {
    const int choice = rng.Index(4);
    if (choice == 0)
        s.lightA = IndoorDaylight(rng);
    else if (choice == 1)
        s.lightA = PlanckianLight(rng.Uniform(2700, 3300), "tungsten");
    else if (choice == 2)
        s.lightA = WhiteLed(rng.Uniform(3000, 5000), "white LED");
    else
        s.lightA = TriphosphorTube(rng.Uniform(3000, 5000), "tri-phosphor");
    s.lux = rng.Uniform(200, 1500);
    Painter p(s);
    const double horizon = rng.Uniform(0.5, 0.7);
    p.Rect(0, 0, 1, horizon, p.Surface(Pick(rng, kWalls)), 1.0);
    const char* const floors[] = {"wood floor", "grey carpet", "concrete", "dark wood", "sand"};
    p.Rect(0, horizon, 1, 1, p.Surface(Pick(rng, floors), 0.12), 0.9);
    Clutter(p, rng, 2, horizon - 0.1, horizon + 0.2);
    // The ball: one dominant strongly coloured object filling much of the frame.
    const double r = rng.Uniform(0.3, 0.42);
    const double cu = rng.Uniform(0.35, 0.65), cv = rng.Uniform(0.45, 0.6);
    p.Sphere(cu, cv, r, p.Surface(Pick(rng, kStrongColours), 0.04));
    // Its specular highlight shows the light itself.
    p.Ellipse(cu - 0.35 * r / kAspect, cv - 0.4 * r, 0.05 * r, 0.05 * r,
              p.Emitter("highlight", s.lightA.spectrum, 6.0));
    s.gradientU = rng.Uniform(-0.4, 0.4);
    s.gradientV = rng.Uniform(-0.2, 0.2);
}

void Chart(SceneInstance& s, Random& rng, int sampleIndex) {
    const std::vector<Light> lab = LaboratoryLights();
    s.lightA = lab[static_cast<std::size_t>(sampleIndex) % lab.size()];
    s.lux = rng.Uniform(800, 1500);
    Painter p(s);
    p.Rect(0, 0, 1, 1, p.Surface("booth grey", 0.03));
    using C = ChartFrame;
    p.Rect(C::kLeft, C::kTop, C::kLeft + C::kWidth, C::kTop + C::kHeight,
           p.Surface("chart black", 0.02));
    const double pu = C::kWidth / C::kColumns, pv = C::kHeight / C::kRows;
    for (int row = 0; row < C::kRows; ++row) {
        for (int col = 0; col < C::kColumns; ++col) {
            const double u0 = C::kLeft + col * pu, v0 = C::kTop + row * pv;
            p.Rect(u0 + C::kPatchInset * pu, v0 + C::kPatchInset * pv,
                   u0 + (1 - C::kPatchInset) * pu, v0 + (1 - C::kPatchInset) * pv,
                   p.Patch(row * C::kColumns + col));
        }
    }
    // A light booth is nearly, not perfectly, uniform.
    s.gradientU = rng.Uniform(-0.1, 0.1);
    s.gradientV = rng.Uniform(-0.1, 0.1);
}

void Room(Painter& p, Random& rng, const char* wall, const char* floor) {
    const double floorLine = rng.Uniform(0.6, 0.75);
    p.Rect(0, 0, 1, floorLine, p.Surface(wall));
    p.Rect(0, floorLine, 1, 1, p.Surface(floor, 0.12), 0.85);
}

void Tungsten(SceneInstance& s, Random& rng, int /*sampleIndex*/) {
    s.lightA = PlanckianLight(rng.Uniform(2500, 3100), "incandescent");
    s.lux = rng.Uniform(50, 300);
    Painter p(s);
    Room(p, rng, Pick(rng, kWalls), rng.Uniform() < 0.6 ? "wood floor" : "dark wood");
    // Sofa with cushions, a rug, a framed picture and the lamp's shade.
    const int sofa = p.Surface(Pick(rng, kFabrics), 0.1);
    const double su = rng.Uniform(0.1, 0.4);
    p.Rect(su, 0.45, su + rng.Uniform(0.35, 0.5), 0.8, sofa, 0.8);
    p.Rect(0.2, 0.82, 0.8, 0.98, p.Surface(Pick(rng, kFabrics), 0.15), 0.85);
    p.Rect(0.55, 0.12, 0.8, 0.35, p.Surface("dark wood"));
    p.Rect(0.57, 0.14, 0.78, 0.33, p.Patch(rng.Index(18)));
    Clutter(p, rng, 3, 0.45, 0.75);
    const double lu = rng.Uniform(0.05, 0.9);
    p.Rect(lu, 0.1, lu + 0.08, 0.25, p.Emitter("lamp shade", s.lightA.spectrum, 4.0));
    s.gradientU = lu < 0.5 ? -0.6 : 0.6;
    s.gradientV = 0.3;
}

void Fluorescent(SceneInstance& s, Random& rng, int /*sampleIndex*/) {
    const int choice = rng.Index(6);
    if (choice == 0)
        s.lightA = MeasuredTube("Office");
    else if (choice == 1)
        s.lightA = TriphosphorTube(4000, "TL84");
    else if (choice == 2)
        s.lightA = TriphosphorTube(3000, "U30");
    else if (choice == 3)
        s.lightA = MeasuredTube("F1");
    else if (choice == 4)
        s.lightA = MeasuredTube("Triband");
    else
        s.lightA = TriphosphorTube(rng.Uniform(3500, 5000), "tri-phosphor");
    s.lux = rng.Uniform(300, 800);
    Painter p(s);
    // Office: ceiling with light fittings, walls, desks, chairs, paper.
    p.Rect(0, 0, 1, 0.25, p.Surface("ceiling tile", 0.04));
    for (int i = 0; i < 3; ++i) {
        const double fu = 0.1 + 0.3 * i + rng.Uniform(-0.05, 0.05);
        p.Rect(fu, 0.06, fu + 0.15, 0.1, p.Emitter("fitting", s.lightA.spectrum, 8.0));
    }
    p.Rect(0, 0.25, 1, 0.6, p.Surface(rng.Uniform() < 0.7 ? "white paint" : "grey paint"));
    p.Rect(0, 0.6, 1, 1, p.Surface("grey carpet", 0.12), 0.85);
    const int desk = p.Surface(rng.Uniform() < 0.5 ? "wood floor" : "grey paint");
    p.Rect(0.05, 0.55, 0.95, 0.62, desk);
    p.Rect(rng.Uniform(0.1, 0.3), 0.38, rng.Uniform(0.4, 0.5), 0.55, p.Surface("black plastic"));
    p.Rect(0.6, 0.52, 0.75, 0.56, p.Surface("paper", 0.03));
    const int chair = p.Surface(Pick(rng, kFabrics));
    p.Rect(rng.Uniform(0.1, 0.6), 0.62, rng.Uniform(0.7, 0.9), 0.9, chair, 0.8);
    p.Ellipse(rng.Uniform(0.05, 0.95), 0.45, 0.1, 0.15, p.Surface("foliage", 0.25));
    Clutter(p, rng, 2, 0.3, 0.55);
    s.gradientV = -0.3;
}

void Led(SceneInstance& s, Random& rng, int /*sampleIndex*/) {
    s.lightA = WhiteLed(rng.Uniform(2700, 6500), "white LED");
    s.lux = rng.Uniform(150, 700);
    Painter p(s);
    // Kitchen or shop: white cabinets, counter, shelves of products, tiles.
    p.Rect(0, 0, 1, 0.35, p.Surface(rng.Uniform() < 0.7 ? "white paint" : "warm white paint"));
    p.Rect(0, 0.35, 1, 0.45, p.Surface(rng.Uniform() < 0.5 ? "steel" : "concrete", 0.05));
    p.Rect(0, 0.45, 1, 0.7, p.Surface("white paint"));
    for (int i = 0; i < 10; ++i) {
        const double u = rng.Uniform(0.02, 0.9), v = rng.Uniform(0.47, 0.62);
        const int m =
            rng.Uniform() < 0.5 ? p.Surface(Pick(rng, kStrongColours)) : p.Patch(rng.Index(18));
        p.Rect(u, v, u + rng.Uniform(0.03, 0.08), v + rng.Uniform(0.04, 0.08), m, 0.9);
    }
    const char* const floors[] = {"grey paint", "terracotta", "concrete", "wood floor"};
    p.Rect(0, 0.7, 1, 1, p.Surface(Pick(rng, floors), 0.1), 0.85);
    Clutter(p, rng, 2, 0.75, 0.95);
    s.gradientU = rng.Uniform(-0.3, 0.3);
}

void Mixed(SceneInstance& s, Random& rng, int /*sampleIndex*/) {
    const Light daylight = IndoorDaylight(rng);
    const Light lamp = rng.Uniform() < 0.6 ? PlanckianLight(rng.Uniform(2600, 3200), "tungsten")
                                           : WhiteLed(rng.Uniform(2700, 3500), "warm LED");
    // Either a lamp-lit room with daylight spilling in through the window on
    // the left, or a daylit room with a lamp on the right.
    const bool lampRoom = rng.Uniform() < 0.5;
    s.lightA = lampRoom ? lamp : daylight;
    s.lightB = lampRoom ? daylight : lamp;
    s.mix = LightMix::Spill;
    s.spillFromLeft = lampRoom;
    s.spill = rng.Uniform(0.8, 1.6);
    s.lux = rng.Uniform(200, 1000);
    Painter p(s);
    Room(p, rng, Pick(rng, kWalls), rng.Uniform() < 0.5 ? "wood floor" : "grey carpet");
    p.Rect(0.02, 0.1, 0.2, 0.5, p.Emitter("window", daylight.spectrum, lampRoom ? 2.0 : 3.0));
    p.Rect(0.35, 0.5, 0.75, 0.78, p.Surface(Pick(rng, kFabrics), 0.1), 0.85);
    Clutter(p, rng, 3, 0.4, 0.9);
    p.Rect(0.85, 0.15, 0.93, 0.3, p.Emitter("lamp shade", lamp.spectrum, 4.0));
}

void Sunny(SceneInstance& s, Random& rng, int /*sampleIndex*/) {
    s.lightA = DaylightLight(rng.Uniform(4800, 6000), "sun and sky");
    s.lightB = DaylightLight(rng.Uniform(9000, 14000), "blue sky");
    s.mix = LightMix::Shadows;
    s.shadowLight = rng.Uniform(0.15, 0.3);
    s.lux = rng.Uniform(30000, 100000);
    Painter p(s);
    // Blue sky above buildings, street and greenery; some of it in shadow.
    const double skyline = rng.Uniform(0.25, 0.4);
    p.Rect(0, 0, 1, skyline + 0.05,
           p.Emitter("sky", Daylight(rng.Uniform(15000, 25000)), rng.Uniform(0.2, 0.35), 0.03));
    const char* const facades[] = {"concrete", "brick", "white paint", "terracotta", "sand"};
    for (double u = 0; u < 1;) {
        const double w = rng.Uniform(0.12, 0.3);
        p.Rect(u, skyline + rng.Uniform(-0.1, 0.05), u + w, 0.7,
               p.Surface(Pick(rng, facades), 0.1));
        u += w;
    }
    p.Rect(0, 0.7, 1, 1, p.Surface("asphalt", 0.1));
    p.Rect(0, 0.62, 1, 0.7, p.Surface("concrete", 0.1));
    for (int i = 0; i < 3; ++i)
        p.Ellipse(rng.Uniform(0, 1), rng.Uniform(0.4, 0.6), rng.Uniform(0.08, 0.15),
                  rng.Uniform(0.1, 0.18),
                  p.Surface(rng.Uniform() < 0.5 ? "foliage" : "dark foliage", 0.25));
    p.Rect(rng.Uniform(0, 0.6), 0.75, rng.Uniform(0.7, 1.0), 0.9,
           p.Surface(Pick(rng, kStrongColours), 0.05));
    // Shadows of the buildings across the street and a facade in shade.
    const double ru = rng.Uniform(0, 0.5);
    p.Rect(ru, 0.88, ru + rng.Uniform(0.3, 0.5), 1, p.Surface("asphalt", 0.1)).shadow = true;
    const double su = rng.Uniform(0, 0.8);
    p.Rect(su, skyline + 0.1, su + rng.Uniform(0.08, 0.18), 0.7, p.Surface(Pick(rng, facades), 0.1))
        .shadow = true;
    s.gradientV = 0.1;
}

void Shade(SceneInstance& s, Random& rng, int /*sampleIndex*/) {
    s.lightA = DaylightLight(rng.Uniform(6500, 9000), "shade daylight");
    s.lux = rng.Uniform(2000, 15000);
    Painter p(s);
    // Park under an overcast sky: much greenery, a path, a bench, people.
    const double skyline = rng.Uniform(0.15, 0.3);
    p.Rect(0, 0, 1, skyline + 0.05,
           p.Emitter("overcast sky", s.lightA.spectrum, rng.Uniform(0.9, 1.4), 0.05));
    p.Rect(0, skyline, 1, 0.6, p.Surface("dark foliage", 0.3));
    for (int i = 0; i < 4; ++i)
        p.Ellipse(rng.Uniform(0, 1), rng.Uniform(skyline, 0.55), rng.Uniform(0.1, 0.2),
                  rng.Uniform(0.1, 0.2), p.Surface("foliage", 0.25));
    p.Rect(0, 0.6, 1, 1, p.Surface("grass", 0.2));
    const char* const paths[] = {"sand", "concrete", "soil", "asphalt"};
    p.Rect(rng.Uniform(0.2, 0.4), 0.6, rng.Uniform(0.6, 0.8), 1, p.Surface(Pick(rng, paths), 0.12));
    p.Rect(rng.Uniform(0.05, 0.5), 0.55, rng.Uniform(0.55, 0.9), 0.68, p.Surface("dark wood"));
    for (int i = 0; i < 2; ++i) {
        const double u = rng.Uniform(0.1, 0.85);
        p.Rect(u, 0.45, u + 0.06, 0.85, p.Surface(Pick(rng, kFabrics)));
        p.Ellipse(u + 0.03 * kAspect / kAspect, 0.42, 0.035, 0.04,
                  p.Surface(rng.Uniform() < 0.5 ? "light skin" : "dark skin"));
    }
    s.gradientV = 0.1;
}

bool Inside(const Shape& sh, double u, double v) {
    if (u < sh.u0 || u >= sh.u1 || v < sh.v0 || v >= sh.v1) return false;
    if (sh.type == Shape::Type::Rect) return true;
    const double du = (u - 0.5 * (sh.u0 + sh.u1)) / (0.5 * (sh.u1 - sh.u0));
    const double dv = (v - 0.5 * (sh.v0 + sh.v1)) / (0.5 * (sh.v1 - sh.v0));
    return du * du + dv * dv < 1.0;
}

// Lambertian shading of a sphere lit from the upper left and front.
double SphereShading(const Shape& sh, double u, double v) {
    const double x = (u - 0.5 * (sh.u0 + sh.u1)) / (0.5 * (sh.u1 - sh.u0));
    const double y = (v - 0.5 * (sh.v0 + sh.v1)) / (0.5 * (sh.v1 - sh.v0));
    const double z = std::sqrt(std::max(0.0, 1.0 - x * x - y * y));
    const double lx = -0.45, ly = -0.5, lz = 0.74;
    return 0.2 + 0.8 * std::max(0.0, x * lx + y * ly + z * lz);
}

}  // namespace

std::vector<Light> LaboratoryLights() {
    // "Tunable 4000K" stands for a multi-channel LED booth set to the
    // blackbody spectrum; it fills the gap between halogen and D50.
    return {PlanckianLight(2300, "Horizon"), PlanckianLight(2856, "A"),
            PlanckianLight(3200, "Halogen"), PlanckianLight(4000, "Tunable 4000K"),
            DaylightLight(5003, "D50"),      DaylightLight(6504, "D65"),
            DaylightLight(7504, "D75"),      TriphosphorTube(4000, "TL84"),
            MeasuredTube("Office"),          TriphosphorTube(3000, "U30"),
            WhiteLed(4000, "LED 4000K"),     MeasuredTube("F8"),
            WhiteLed(2700, "LED 2700K")};
}

SceneInstance MakeScene(const std::string& scene, int sampleIndex, uint64_t seed) {
    SceneInstance s;
    s.scene = scene;
    uint64_t sceneId = 0;
    for (char c : scene) sceneId = sceneId * 131 + static_cast<unsigned char>(c);
    Random rng(seed, {sceneId, static_cast<uint64_t>(sampleIndex)});
    // One builder per scene folder, in the driver's scene order.
    using SceneBuilder = void (*)(SceneInstance&, Random&, int);
    static constexpr SceneBuilder kBuilders[] = {Ball, Chart, Tungsten, Fluorescent,
                                                 Led,  Mixed, Sunny,    Shade};
    static_assert(std::size(kBuilders) == std::size(SceneList), "a builder for every scene");
    const auto* known = std::find(std::begin(SceneList), std::end(SceneList), scene);
    const size_t which = std::min<size_t>(known - std::begin(SceneList), std::size(kBuilders) - 1);
    kBuilders[which](s, rng, sampleIndex);

    if (s.mix != LightMix::Spill) {
        s.truth = s.lightA;
    } else {
        // Mixed light has no single right answer; the reference is the light
        // at the subject in the middle of the frame, where a grey card held
        // up for the ground truth would be.
        const ScenePoint pt = Evaluate(s, 0.5, 0.5);
        s.truth = MixLights(s.lightA, pt.weightA, s.lightB, pt.weightB,
                            s.lightA.name + " + " + s.lightB.name);
    }
    return s;
}

ScenePoint Evaluate(const SceneInstance& s, double u, double v) {
    ScenePoint pt;
    const Shape* hit = nullptr;
    for (auto it = s.shapes.rbegin(); it != s.shapes.rend(); ++it) {
        if (Inside(*it, u, v)) {
            hit = &*it;
            break;
        }
    }
    double level = 1.0 + s.gradientU * (u - 0.5) + s.gradientV * (v - 0.5);
    if (hit != nullptr) {
        pt.material = hit->material;
        level *= hit->light;
        if (hit->type == Shape::Type::Sphere) level *= SphereShading(*hit, u, v);
    }
    level = std::max(level, 0.05);
    switch (s.mix) {
        case LightMix::Single:
            pt.weightA = level, pt.weightB = 0.0;
            break;
        case LightMix::Shadows:
            if (hit != nullptr && hit->shadow)
                pt.weightA = 0.0, pt.weightB = level * s.shadowLight;
            else
                pt.weightA = level, pt.weightB = 0.0;
            break;
        case LightMix::Spill:
            pt.weightA = level;
            pt.weightB = level * s.spill * std::exp(-(s.spillFromLeft ? u : 1.0 - u) / 0.15);
            break;
    }
    return pt;
}

}  // namespace Vireo::Datagen
