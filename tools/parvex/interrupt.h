// Ctrl-C for the shell: SIGINT sets a flag instead of ending the process.
//
// The handler is installed without SA_RESTART, so a blocking read (the line
// editor, a pipe) returns early with EINTR and the shell can abandon the
// current input. Work that takes long (printing a result, .import, .dump)
// polls the flag and stops; the engine itself offers no way to cancel a call,
// so a statement inside the engine runs to its end and what follows it is
// abandoned. SIGWINCH is noted (with SA_RESTART) so the line editor can
// follow the terminal's size.
#pragma once

namespace parvex::shell {

void InstallSignalHandlers();

bool InterruptRequested();
void ClearInterrupt();

// True once after the terminal window changed size.
bool TakeWindowResized();

}  // namespace parvex::shell
