#include "core/shutdown.h"

#include <cstdlib>

#include "common/transport.h"
#include "core/monitor.h"
#include "core/refresh_thread.h"
#include "core/screen.h"
#include "core/signals.h"
#include "core/terminal.h"
#include "core/window.h"

namespace zrp {

void cleanup_and_exit(int /*sig*/) {
    request_termination();
    // Again for the transport: a signal that came before IPCServInit could not interrupt it.
    IPCServInterrupt();
    stop_refresh_thread();
    destroy_win(monitorState.mainWindow);
    destroy_win(monitorState.upTimeWindow);
    close_terminal();
    IPCServTerm();
    run_hook(&Screen::release);
    close_trace();
    exit(EXIT_SUCCESS);
}

} // namespace zrp
