#include "FastMath.h"

namespace Vireo {
namespace Awb {

const FastMathConstants kFastMath = {
    {Broadcasted(0.113242185f), Broadcasted(-0.18732522f), Broadcasted(0.206900397f),
     Broadcasted(-0.249028028f), Broadcasted(0.332982997f), Broadcasted(-0.500014284f),
     Broadcasted(1.00000422f), Broadcasted(3.59022929e-08f)},
    Broadcasted(1.41421356f),
    Broadcasted(0.693147181f),
    Broadcasted(0.5f),
    Broadcasted(1.0f),
    {Broadcasted(0.00133335581f), Broadcasted(0.00961812911f), Broadcasted(0.0555041087f),
     Broadcasted(0.240226507f), Broadcasted(0.693147182f), Broadcasted(1.0f)},
    Broadcasted(-1.44269504f),
    Broadcasted(-126.0f),
};

}  // namespace Awb
}  // namespace Vireo
