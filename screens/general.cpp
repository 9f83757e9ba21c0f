#include "screens/general.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/requests/server_statistics.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_reader.h"
#include "core/monitor.h"
#include "core/window.h"
#include "screens/labels.h"

namespace zrp {
namespace {

constexpr int kValueMax = 4096;

constexpr int kFirstStatisticRow = 1;
constexpr int kEndRow = 12; // one past the last row
constexpr int kStatisticColumn = 5;

constexpr int kUpTimeRow = 1;
constexpr int kUpTimeColumn = 17;
constexpr int kUpTimeWidth = 67;

constexpr uint32_t kMinute = 60;
constexpr uint32_t kHour = 60 * kMinute;
constexpr uint32_t kDay = 24 * kHour;

struct GeneralRowContext {
    WINDOW* window;
    int row;     // next row to write
    int lastRow; // one past the last row
};

struct Statistic {
    char name[kParmNameSize];
    char type[kParmTypeSize];
    char value[kValueMax + 1];
};

// False if the element cannot be read as a statistic.
bool read_statistic(char* element, int length, Statistic* statistic) {
    return GetNameValueParm(element, element + length, statistic->name, statistic->type,
                            statistic->value, kValueMax) == kOk;
}

bool is_up_time(const Statistic& statistic) {
    return strcmp(statistic.type, value_type::diffSeconds) == 0;
}

int printGeneralValue(void* context, char* element, int elementLength) {
    auto* rows = static_cast<GeneralRowContext*>(context);
    Statistic statistic;
    if (rows->row >= rows->lastRow || !read_statistic(element, elementLength, &statistic) ||
        is_up_time(statistic)) {
        return kOk;
    }
    print_at(rows->window, rows->row++, kStatisticColumn, "%s: %s", statistic.name,
             statistic.value);
    return kOk;
}

int printUpTime(void* /*context*/, char* element, int elementLength) {
    Statistic statistic;
    if (!read_statistic(element, elementLength, &statistic) || !is_up_time(statistic)) {
        return kOk;
    }
    constexpr int kDecimal = 10;
    char text[kUpTimeTextSize];
    format_up_time(static_cast<uint32_t>(strtol(statistic.value, nullptr, kDecimal)), text);
    WINDOW* strip = monitorState.upTimeWindow;
    const CursesLock lock;
    print_at(strip, kUpTimeRow, kUpTimeColumn, "%-*s", kUpTimeWidth, text);
    refresh_window(strip);
    return kOk;
}

} // namespace

void format_up_time(uint32_t seconds, char (&text)[kUpTimeTextSize]) {
    const struct {
        long count;
        const char* one;
        const char* many;
        bool always;
    } parts[] = {
        {seconds / kDay, "Day", "Days", false},
        {seconds % kDay / kHour, "Hour", "Hours", false},
        {seconds % kHour / kMinute, "Minute", "Minutes", false},
        {seconds % kMinute, "Second", "Seconds", true},
    };
    size_t length = 0;
    for (const auto& part : parts) {
        if (part.count != 0 || part.always) {
            length +=
                static_cast<size_t>(snprintf(text + length, sizeof text - length, "%ld %s ",
                                             part.count, part.count == 1 ? part.one : part.many));
        }
    }
}

int drawGeneralLabels(WINDOW* window) {
    // Compatibility: the other screens return kRange without a window.
    return window == nullptr ? kInvalid : draw_labels(window, nullptr, {});
}

int updateGeneralWindow(WINDOW* window) {
    if (window == nullptr) {
        return kInvalid;
    }
    GeneralRowContext context = {window, kFirstStatisticRow, kEndRow};
    QueryServerStatistics(kServerStatisticsVersion, printGeneralValue, nullptr, &context);
    refresh_window(window);
    return kOk;
}

void updateUpTimeWindow() {
    if (monitorState.upTimeWindow == nullptr) {
        return;
    }
    QueryServerStatistics(kServerStatisticsVersion, printUpTime, nullptr, nullptr);
}

} // namespace zrp
