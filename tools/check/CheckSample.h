// Checks one sample file as the driver's readers would read it.
#ifndef VIREO_CHECK_SAMPLE_H
#define VIREO_CHECK_SAMPLE_H

#include <string>

#include "Report.h"

namespace Vireo::Check {

// Reports every way the file differs from the layout of readers/SampleFileKeys.h
// (keys in order with their number of value lines, numbers, counts that
// disagree) and what the driver would make of it. The path must be one the
// driver can open (the caller checks its length and kind).
void CheckSampleFile(const std::string& path, Report& report);

}  // namespace Vireo::Check

#endif  // VIREO_CHECK_SAMPLE_H
