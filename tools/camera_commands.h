#pragma once
// The `quorvel` sub-commands that work with cameras: cameras, record, simulate.

#include <optional>

/// Runs argv[1] when it is one of the camera commands and returns its exit code; std::nullopt for
/// any other command.
std::optional<int> runCameraCommand(int argc, char** argv);

/// Lines for the main usage text.
extern const char* const kCameraCommandsUsage;
