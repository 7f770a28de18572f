// The problems vireo-check finds, one line each, printed as they are found:
//   file:line: what is wrong; what the driver would do
// (file: ... when the problem is not on a line of its own).
#ifndef VIREO_CHECK_REPORT_H
#define VIREO_CHECK_REPORT_H

#include <cstddef>
#include <cstdio>
#include <string>

namespace Vireo::Check {

struct Report {
    std::FILE* out = stdout;
    size_t problems = 0;  // every problem found, shown or not
    size_t filesWithProblems = 0;
    size_t samplesChecked = 0;
    size_t scenesFound = 0;
};

// Prints one problem line and counts it. line 0: the problem is the file's
// (or folder's) as a whole.
void Add(Report& report, const std::string& file, size_t line, const std::string& what,
         const std::string& consequence);

// printf into a std::string, for the problem texts.
std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

// A value as the user wrote it, quoted and cut to a readable length.
std::string Quote(const std::string& text, size_t shown = 40);

}  // namespace Vireo::Check

#endif  // VIREO_CHECK_REPORT_H
