#include "screens/labels.h"

#include "common/result.h"
#include "core/window.h"

namespace zrp {

int draw_labels(WINDOW* window, const char* title, std::span<const Label> labels) {
    if (window == nullptr) {
        return kRange;
    }
    draw_frame(window);
    if (title != nullptr) {
        print_at(window, kTitleRow, kTitleColumn, "%s", title);
    }
    for (const Label& label : labels) {
        print_at(window, label.row, kLabelColumn, "%s", label.text);
    }
    refresh_window(window);
    return kOk;
}

} // namespace zrp
