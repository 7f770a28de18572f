#include "FastMath.h"

namespace Vireo {
namespace Awb {

namespace {

constexpr Float4 All(float value) { return Float4{value, value, value, value}; }

}  // namespace

const FastMathConstants kFastMath = {
    {All(0.113242185f), All(-0.18732522f), All(0.206900397f), All(-0.249028028f), All(0.332982997f),
     All(-0.500014284f), All(1.00000422f), All(3.59022929e-08f)},
    All(1.41421356f),
    All(0.693147181f),
    All(0.5f),
    All(1.0f),
    {All(0.00133335581f), All(0.00961812911f), All(0.0555041087f), All(0.240226507f),
     All(0.693147182f), All(1.0f)},
    All(-1.44269504f),
    All(-126.0f),
};

}  // namespace Awb
}  // namespace Vireo
