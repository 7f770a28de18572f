#include "DummyInfo.h"

namespace {

// One instance of each for the whole run, zero from the start. Wrappers may
// keep these pointers across scenes, so they must be static.
Vireo::ExtraInfoBRecord extraInfoB;
Vireo::ExtraInfoGRecord extraInfoG;
Vireo::ExtraInfoERecord extraInfoE;
Vireo::ExtraInfoHRecord extraInfoH;
Vireo::ExtraInfoCRecord extraInfoC;
Vireo::ExtraInfoDRecord extraInfoD;

constexpr int32_t kFrameWidth = 4608;
constexpr int32_t kFrameHeight = 3456;

}  // namespace

void setDummyInfo(Vireo::IAWBSimulationWrapper* wrapper) {
    // The marked words are stored again before every call, so each feed
    // starts from the same values whatever a wrapper wrote into them; the
    // other words are never rewritten.
    wrapper->SetExtraInfoA(0);
    wrapper->SetExtraInfoB(0, &extraInfoB);

    extraInfoG.words[0] = 0x7FFFFFFF;
    wrapper->SetExtraInfoG(&extraInfoG);

    extraInfoE = Vireo::ExtraInfoERecord{{-1, 0, 0, 0, 0, 0}};
    wrapper->SetExtraInfoE(&extraInfoE);
    wrapper->SetExtraInfoF(&extraInfoE);

    extraInfoH = Vireo::ExtraInfoHRecord{};
    wrapper->SetExtraInfoH(&extraInfoH);

    extraInfoC.words[0] = 0;
    wrapper->SetExtraInfoC(&extraInfoC);

    wrapper->SetExtraInfoD(0, &extraInfoD);
    wrapper->SetFrameDimensions(kFrameWidth, kFrameHeight);
}
