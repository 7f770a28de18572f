#include "Report.h"

#include <cstdarg>
#include <vector>

namespace Vireo::Check {

void Add(Report& report, const std::string& file, size_t line, const std::string& what,
         const std::string& consequence) {
    ++report.problems;
    if (line > 0) {
        std::fprintf(report.out, "%s:%zu: %s; %s\n", file.c_str(), line, what.c_str(),
                     consequence.c_str());
    } else {
        std::fprintf(report.out, "%s: %s; %s\n", file.c_str(), what.c_str(), consequence.c_str());
    }
}

std::string Format(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::vector<char> text(static_cast<size_t>(length > 0 ? length : 0) + 1);
    std::vsnprintf(text.data(), text.size(), format, again);
    va_end(again);
    return std::string(text.data());
}

std::string Quote(const std::string& text, size_t kept) {
    std::string shown;
    for (const char c : text.substr(0, kept)) {
        // Control characters (a carriage return, say) would garble the line.
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
            shown += Format("\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
        } else {
            shown += c;
        }
    }
    if (text.size() > kept) shown += "...";
    return "\"" + shown + "\"";
}

}  // namespace Vireo::Check
