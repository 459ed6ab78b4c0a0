#pragma once
// How the quorvel commands end on SIGINT (Ctrl+C), SIGTERM (kill, timeout, service managers) and
// SIGHUP (the terminal went away).
//
// - removeTemporaryFilesOnSignals(): every command starts with this. The handler removes the
//   files listed by the SDK as temporary outputs (quorvel/TemporaryFiles.h: a conversion's `.part`,
//   an export's `.tmp-PID`) and ends the program by the same signal, so a shell or script still
//   sees that it was interrupted.
// - catchStopSignals(): for commands that finish their work gracefully instead (record): the
//   handler only notes the signal, and the command polls stopSignal(). A second signal ends the
//   program at once, as above.
//
// Thread rules: call the installers from the main thread before starting others.

namespace quorvel::cli {

void removeTemporaryFilesOnSignals();
void catchStopSignals();
/// The signal that asked to stop (SIGINT, SIGTERM or SIGHUP), 0 while none came.
int stopSignal();
/// "SIGINT", "SIGTERM", "SIGHUP" or "signal N".
const char* signalName(int sig);

} // namespace quorvel::cli
