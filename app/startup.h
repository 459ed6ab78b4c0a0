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
