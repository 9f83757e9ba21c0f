// Lists that come in pages.
#pragma once

#include <cstdint>

#include "ctl/failure.h"
#include "ctl/numbers.h"
#include "ctl/reply.h"
#include "ctl/session.h"

namespace zrp::ctl {

inline constexpr int64_t kLastPage = -1;

// The index of the next page that a reply names, or kLastPage. Throws a Failure of kind kReply for
// one that does not move on from this page.
int64_t next_page(Node command, int64_t index, const Daemon& daemon);

// The same for an index that the caller found out.
int64_t check_page(int64_t next, int64_t index, const Daemon& daemon);

// Asks for all pages: Node page(index, answer) builds the request of a page and sends it;
// int64_t read(command, index) reads it and returns the index of the next one.
template <typename Ask, typename Read>
void walk_pages(const Daemon& daemon, const char* tag, Ask ask, Read read) {
    for (int64_t index = 0; index != kLastPage;) {
        const Answer answer = ask(static_cast<int32_t>(index));
        index = check_page(read(command_of(answer, daemon, tag), index), index, daemon);
    }
}

} // namespace zrp::ctl
