// The names of the counters of both daemons.
//
// Each name is written once. The groups refer to it by its constant, so a group can only look up a
// counter that the table holds. Some counters are stored but shown in no group. Internal to the
// library.
#pragma once

#pragma GCC visibility push(hidden)

namespace zrp {

#define ZRP_DIAG_KEY(name, text) inline constexpr const char* name = text;

namespace server_key {
#include "common/requests/diag_keys_server.inc"
}

namespace bks_key {
#include "common/requests/diag_keys_bks.inc"
}

#undef ZRP_DIAG_KEY

#define ZRP_DIAG_KEY(name, text) text,

// In the order in which the tables are filled.
inline constexpr const char* serverDiagKeys[] = {
#include "common/requests/diag_keys_server.inc"
};
inline constexpr const char* bksDiagKeys[] = {
#include "common/requests/diag_keys_bks.inc"
};

#undef ZRP_DIAG_KEY

static_assert(sizeof serverDiagKeys / sizeof *serverDiagKeys == 53);
static_assert(sizeof bksDiagKeys / sizeof *bksDiagKeys == 41);

} // namespace zrp

#pragma GCC visibility pop
