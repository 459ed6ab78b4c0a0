#pragma once
// Start-up steps shared by main() and the tests: the embedded font and the translation.
// Thread rules: GUI thread, after the QApplication exists.

#include <QString>

/// Loads ":/font/NotoSansSC-Medium.ttf" and makes its first family the application font, with
/// hinting off. The family names the style sheets use ("Noto Sans SC Medium", "Noto Sans SC") are
/// mapped onto it, so every styled text draws with the embedded face. Returns the family, or an
/// empty text after logging "Failed to load font!".
QString loadApplicationFont();

/// Installs the translator for `language` ("zh" loads Chinese, anything else English). Logs
/// "Load language failed." or "install translator failed." and returns false on failure.
bool loadLanguage(const QString& language);

/// Makes SIGTERM, SIGINT and SIGHUP (logout, `timeout`, a service manager, Ctrl+C) end the program
/// the way "Quit" does: every window closes, the event loop returns, and what the window owns is
/// shut down in order (a running recording closed, threads joined, settings written). The signal
/// handler only writes to a pipe; a socket notifier acts on it in the event loop. Call once, after
/// the application object exists. False (with a log line) when the pipe cannot be made.
bool quitOnTerminationSignals();

/// True once one of those signals has arrived.
bool terminationRequested();
