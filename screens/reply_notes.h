// What the screens find in replies, for the row that informs the user (status_row.h).
#pragma once

#include "common/exchange_state.h"
#include "common/heap_text.h"

namespace zrp {

// Notes the result of an operation unless its failure is known: the exchange has failed, or the
// server has reported an error. What is left is a reply that was not understood.
void note_result(DaemonId daemon, int rc);

// Notes that the reply is not a document: empty, garbage or cut short. Comes after its scan, since
// it removes CDATA markers.
void note_broken_document(DaemonId daemon, const Reply& reply);

} // namespace zrp
