// Ctrl-C for the shell: SIGINT sets a flag instead of ending the process.
//
// The handler is installed without SA_RESTART, so a blocking read (the line
// editor, a pipe) returns early with EINTR and the shell can abandon the
// current input. Work that takes long (printing a result, .import, .dump)
// polls the flag and stops; a statement running inside the engine is asked
// to stop through parvex_interrupt (a query gives up and the
// statement fails with "Error: Interrupted."). SIGWINCH is noted (with SA_RESTART) so the line editor can
// follow the terminal's size.
#pragma once

#include "parvex/parvex.h"

namespace parvex::shell {

void InstallSignalHandlers();
// The database whose running statement Ctrl-C interrupts (null for none).
void SetInterruptTarget(parvex_db* database);

bool InterruptRequested();
void ClearInterrupt();

// True once after the terminal window changed size.
bool TakeWindowResized();

}  // namespace parvex::shell
