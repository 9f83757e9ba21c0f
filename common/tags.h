// The tag vocabulary: every name in a request or a reply, spelled once.
//
// Builders and readers name a tag by its constant, so that the element of a request and that of its
// reply always agree. A name that is a C++ keyword ends in an underscore (tag::volatile_). Oddities
// such as "taskNuber" are the daemons' own spelling.
#pragma once
#include "cplusplus.h"

#include <cstddef>

namespace zrp {

#define ZRP_TAG(name, text) inline constexpr const char* name = text;

namespace tag { // elements
#include "tags_elements.inc"
}

namespace value_type { // words of a value's "type" attribute
#include "tags_value_types.inc"
}

namespace diagnostic { // diagnostics of the storage daemon
#include "tags_diagnostics.inc"
}

namespace command { // commands of the storage daemon
#include "tags_commands.inc"
}

namespace control { // names outside the vocabulary
#include "tags_control.inc"
}

#undef ZRP_TAG

#define ZRP_TAG(name, text) text,

// The groups as tables, in the order of the vocabulary.
inline constexpr const char* kValueTypes[] = {
#include "tags_value_types.inc"
};
inline constexpr const char* kElementNames[] = {
#include "tags_elements.inc"
};
inline constexpr const char* kDiagnosticNames[] = {
#include "tags_diagnostics.inc"
};
inline constexpr const char* kCommandNames[] = {
#include "tags_commands.inc"
};

#undef ZRP_TAG

inline constexpr size_t kElementNameCount = sizeof kElementNames / sizeof *kElementNames;
static_assert(kElementNameCount == 366);

} // namespace zrp
