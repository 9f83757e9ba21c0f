// The rows of the one table that all measuring programs print.
#pragma once

#include <cmath>
#include <cstdio>
#include <string>

namespace zrp::bench {

// NAN is a figure that is missing.
struct Row {
    std::string what; // with the unit
    double ours = NAN;
    double other = NAN;
    double ratioAim = NAN; // the most that ours may be, in multiples of the other
    double limit = NAN;    // or as it is
};

inline constexpr const char* kRowFormat = "%-52s %10s %10s %7s %7s %4s\n";

inline std::string figure(double value, const char* prefix = "") {
    if (std::isnan(value)) {
        return "-";
    }
    char text[32];
    const double size = std::abs(value);
    snprintf(text, sizeof text, "%s%.*f", prefix, size < 10 ? 2 : size < 1000 ? 1 : 0, value);
    return text;
}

inline void print_head() {
    printf(kRowFormat, "what", "ours", "other", "ratio", "aim", "met");
}

inline void print_row(const Row& row) {
    const double ratio = row.other > 0 ? row.ours / row.other : NAN;
    const bool hasRatioAim = !std::isnan(row.ratioAim);
    const double measured = hasRatioAim ? ratio : row.ours;
    const double aim = hasRatioAim ? row.ratioAim : row.limit;
    const char* met = std::isnan(aim) || std::isnan(measured) ? "-"
                      : measured <= aim                       ? "yes"
                                                              : "no";
    printf(kRowFormat, row.what.c_str(), figure(row.ours).c_str(), figure(row.other).c_str(),
           figure(ratio, "x").c_str(), figure(aim, hasRatioAim ? "x" : "").c_str(), met);
    fflush(stdout);
}

// A row that could not be measured says why.
inline void print_missing(const std::string& what, const std::string& why) {
    printf("%-52s %s\n", what.c_str(), why.c_str());
    fflush(stdout);
}

} // namespace zrp::bench
