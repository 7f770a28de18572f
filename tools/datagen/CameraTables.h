// Camera profiles built into the generator, so that the default data set
// needs no extra package. The numbers are ColorMatrix1/2 and
// CalibrationIlluminant1/2 of DNG camera profiles shipped by Debian's
// rawtherapee-data 5.9 in /usr/share/rawtherapee/dcpprofiles, file names
// given per entry; any other profile of that folder can be named on the
// command line and is then read from the file.
#ifndef VIREO_DATAGEN_CAMERA_TABLES_H
#define VIREO_DATAGEN_CAMERA_TABLES_H

namespace Vireo::Datagen::Tables {

struct CameraEntry {
    const char* name;
    int illuminant1;  // EXIF light source code
    double colorMatrix1[9];
    int illuminant2;
    double colorMatrix2[9];
};

constexpr CameraEntry kCameras[] = {
    // "samsung SM-G930V.dcp" (Galaxy S7): standard light A and D50.
    {"samsung SM-G930V",
     17,
     {1.6708, -0.7266, -0.0659, -0.0823, 0.9256, 0.0698, 0.0545, 0.0901, 0.2477},
     23,
     {0.8531, -0.2618, -0.0746, -0.4750, 1.3311, 0.1538, -0.0835, 0.1957, 0.5975}},
    // "LG Mobile LG-H815.dcp" (LG G4): standard light A and D50.
    {"LG Mobile LG-H815",
     17,
     {1.4515, -0.6185, -0.0041, -0.2353, 1.2356, 0.3309, 0.0240, 0.1608, 0.6818},
     23,
     {0.8092, -0.2039, -0.0736, -0.3632, 1.1698, 0.2191, -0.0655, 0.2374, 0.6406}},
};

}  // namespace Vireo::Datagen::Tables

#endif  // VIREO_DATAGEN_CAMERA_TABLES_H
