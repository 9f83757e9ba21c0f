// Server statistics: the main daemon's counters as a list of named values.
#pragma once

#include <cstdint>

#include "../engine/query.h"

namespace zrp {

inline constexpr int kServerStatisticsVersion = 1;

// Called for each statistic with the content of its `parm` element: a view into the reply, not
// NUL-terminated, valid during the call. Returns 0 to go on, anything else to stop.
using StatisticsCallback = int (*)(void* context, char* element, int elementLength);

// The request document, malloc'ed. Null without memory.
char* BuildServerStatisticsRequest(int version, uint32_t* length);

// The next statistic of a reply: the content of a `parm` element (null and 0 when it is empty).
// *offset is 0 before the first call and is moved behind the element. Returns 0, 22 for an empty
// reply or when no statistic is left, 34 when the offset is at the end, 2 without a
// `serverStatistics` element.
int ScanServerStatisticsReply(char* reply, int replyLength, int* offset, char** element,
                              int* elementLength);

// Asks the default peer and gives every statistic to the callback. hooks may be null. Returns 0
// after the whole list, 12 without memory, the transport's code, the server's error, or what the
// callback returned to stop.
int QueryServerStatistics(int version, StatisticsCallback callback, const RequestHooks* hooks,
                          void* context);

} // namespace zrp
