// The eight scenes of the data set, one per scene folder of the driver
// (SceneList in driver/RunDriver.h). Each sample of a scene is a randomised
// instance: its light, its surfaces and where they lie in the frame. A
// scene instance is a flat picture painted from simple shapes in frame
// coordinates (u from left to right, v from top to bottom, both 0..1), lit
// by one light, or by two lights mixed across the frame or in shadows.
#ifndef VIREO_DATAGEN_SCENES_H
#define VIREO_DATAGEN_SCENES_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "Illuminants.h"
#include "WavelengthGrid.h"

namespace Vireo::Datagen {

// Where the colour checker of the "chart" scene sits, as a calibration rig
// frames it: the same for every sample, 6 x 4 patches.
struct ChartFrame {
    static constexpr double kLeft = 0.125, kTop = 1.0 / 6.0;
    static constexpr double kWidth = 0.75, kHeight = 2.0 / 3.0;
    static constexpr int kColumns = 6, kRows = 4;
    static constexpr double kPatchInset = 0.12;  // black border around each patch
};

struct Material {
    std::string name;
    Spectrum spectrum{};    // reflectance, or for an emitter its own light
    bool emissive = false;  // emitters shine by themselves (sky, lamps, highlights)
    double radiance = 0.0;  // emitter luminance relative to a white surface in light A
    double texture = 0.08;  // relative spread of pixel values inside the material
};

struct Shape {
    enum class Type { Rect, Ellipse, Sphere };
    Type type = Type::Rect;
    double u0 = 0, v0 = 0, u1 = 1, v1 = 1;  // bounding box
    int material = 0;
    double light = 1.0;   // local illumination factor
    bool shadow = false;  // lit only by light B (the sky) when the scene has shadows
};

enum class LightMix {
    Single,   // light A alone
    Shadows,  // light A, except in shadow shapes, which light B alone lights
    Spill,    // light A everywhere, light B spilling in from one side
};

struct SceneInstance {
    std::string scene;
    Light lightA, lightB;
    LightMix mix = LightMix::Single;
    double shadowLight = 0.2;  // light B's level in shadows
    double spill = 1.0;        // light B's level at the side it spills in from
    bool spillFromLeft = true;
    Light truth;  // the light whose white the estimate should find
    double lux = 500.0;
    double gradientU = 0.0, gradientV = 0.0;  // illumination slope across the frame
    std::vector<Material> materials;
    std::vector<Shape> shapes;  // painted in order: later shapes lie on top
};

// What the frame shows at one point.
struct ScenePoint {
    int material = 0;
    double weightA = 1.0, weightB = 0.0;  // levels of the two lights
};

SceneInstance MakeScene(const std::string& scene, int sampleIndex, uint64_t seed);
ScenePoint Evaluate(const SceneInstance& instance, double u, double v);

// The light sources of the calibration rig, in the order the "chart" scene
// cycles through them (blackbody and daylight ones first).
std::vector<Light> LaboratoryLights();

}  // namespace Vireo::Datagen

#endif  // VIREO_DATAGEN_SCENES_H
