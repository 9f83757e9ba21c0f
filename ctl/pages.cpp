#include "ctl/pages.h"

#include <limits>
#include <optional>
#include <string>

#include "common/tags.h"
#include "common/xml_reader.h"

namespace zrp::ctl {
namespace {

// Only beside the items, whose own elements are nobody's index.
std::optional<std::string> index_text(Node command) {
    const Node beside = command.child(tag::startIndex);
    const Node index = beside ? beside : command.child(tag::iterationInfo).child(tag::startIndex);
    return index ? std::optional(text_of(index)) : std::nullopt;
}

} // namespace

int64_t next_page(Node command, int64_t index, const Daemon& daemon) {
    const std::optional<std::string> text = index_text(command);
    if (!text) {
        return kLastPage;
    }
    const std::optional<int64_t> next = read_number(*text);
    if (!next) {
        fail_reply("the index of the next page is no number", daemon);
    }
    return *next == kEndOfList ? kLastPage : check_page(*next, index, daemon);
}

int64_t check_page(int64_t next, int64_t index, const Daemon& daemon) {
    if (next != kLastPage && (next <= index || next > std::numeric_limits<int32_t>::max())) {
        fail_reply("a page of the list does not move on", daemon);
    }
    return next;
}

} // namespace zrp::ctl
