// Built instead of RawFile.cpp when LibRaw is missing: the images command
// still works, the raw command says why it cannot.
#include "ImageFiles.h"

namespace Vireo::Import {

bool RawSupported() { return false; }

bool ReadRaw(const std::string&, CfaImage&, Exposure&, std::string& error) {
    error = "built without LibRaw";
    return false;
}

}  // namespace Vireo::Import
