#include "tests/support/reference_finder.h"

namespace zrp {
namespace {

constexpr std::string_view kOpen = "<![CDATA[";
constexpr std::string_view kClose = "]]>";

bool ends_a_name(char c) {
    return c == '>' || c == '/' ||
           std::string_view(" \t\n\v\f\r").find(c) != std::string_view::npos;
}

bool is_at(std::string_view range, size_t at, std::string_view text) {
    return range.substr(at, text.size()) == text;
}

// Completes the match, from the first byte of the content.
void match_body(std::string_view tag, std::string_view range, size_t at, ReferenceMatch* match) {
    long sameNameDepth = 0;
    long depth = 0;
    bool inSection = false;
    std::string kept;
    const auto keep = [&](size_t count) {
        kept += range.substr(at, count);
        at += count;
    };
    const auto drop = [&](std::string_view marker) {
        at += marker.size();
        match->markerBytes += marker.size();
        inSection = !inSection;
    };
    while (at < range.size()) {
        if (inSection) {
            is_at(range, at, kClose) ? drop(kClose) : keep(1);
        } else if (range[at] != '<') {
            keep(1);
        } else if (is_at(range, at, "</")) {
            const size_t contentSize = kept.size();
            depth--;
            keep(2);
            if (!is_at(range, at, tag)) {
                continue;
            }
            keep(tag.size());
            if (at < range.size() && range[at] == '>') {
                if (sameNameDepth == 0) {
                    match->found = true;
                    match->content = kept.substr(0, contentSize);
                    match->elementEnd = at;
                    return;
                }
                sameNameDepth--;
            }
        } else if (depth == 0 && is_at(range, at, kOpen)) {
            drop(kOpen);
        } else {
            keep(1);
            const size_t name = at;
            while (at < range.size() && !ends_a_name(range[at])) {
                keep(1);
            }
            if (at == range.size()) {
                return;
            }
            depth += range[at] == '/' ? 0 : 1;
            sameNameDepth += range.substr(name, at - name) == tag ? 1 : 0;
        }
    }
}

} // namespace

ReferenceMatch reference_find(std::string_view tag, std::string_view range) {
    ReferenceMatch match;
    for (size_t at = 0; at + 1 + tag.size() < range.size(); at++) {
        const size_t tagEnd = at + 1 + tag.size();
        if (range[at] != '<' || !is_at(range, at + 1, tag) || !ends_a_name(range[tagEnd])) {
            continue;
        }
        match.markup = at;
        const size_t close = range.find('>', tagEnd);
        if (close == std::string_view::npos) {
            return match;
        }
        if (range[close - 1] == '/') {
            match.found = true;
            match.selfClosing = true;
            match.elementEnd = close;
            return match;
        }
        match_body(tag, range, close + 1, &match);
        return match;
    }
    return match;
}

} // namespace zrp
