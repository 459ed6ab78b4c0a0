#pragma once
// The video sub-commands of the quorvel CLI (export, simulate), kept apart from the RAW commands.

namespace quorvel::cli {

extern const char* const kExportHelp;

/// `quorvel export IN.raw OUT.mp4 ...`; argv[first] is the first argument after the command.
/// Prints its own errors ("quorvel: error: ...") and returns the exit code.
int runExport(int argc, char** argv, int first);

extern const char* const kSimulateHelp;

/// `quorvel simulate [--fusion] OUT ...`: a recording from the simulated sensor.
int runSimulate(int argc, char** argv, int first);

} // namespace quorvel::cli
