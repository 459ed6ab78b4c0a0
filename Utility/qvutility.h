#pragma once
// Small stateless helpers used across the user interface: folders of paths, firmware version
// comparison, subnet checks, duration text and in-place updates of camera configuration files.
// Failures are reported by the return value plus a debug log line; nothing throws.
// Thread rules: every function is reentrant.

#include <QJsonValue>
#include <QString>

namespace QvUtility {

/// The absolute folder a path refers to: the folder itself, the folder holding an existing file,
/// or, for a path that does not exist, its parent folder when that exists. Empty (and a log line
/// "Path does not exist:") when none of these exists.
QString folderOfPath(const QString& path);

/// Creates `path` with every missing parent. True when the folder exists afterwards.
bool makePath(const QString& path);

/// True when the first "V<digits>[.<digits>[.<digits>]]" in `a` is >= the one in `b`. Missing
/// parts count as lower, so V1.7 == V1.7.0. A text without such a version logs
/// "Cannot parse version from:" and gives false.
bool versionAtLeast(const QString& a, const QString& b);

/// True when both dotted IPv4 addresses agree under the mask (unparsable text counts as 0.0.0.0,
/// as the SDK's address conversion does).
bool isSameSubnet(const QString& ipA, const QString& ipB, const QString& mask);

/// "HH:MM:SS", each part zero-padded to two digits; hours grow past two digits when needed.
QString durationText(quint64 seconds);

/// Sets root[section][field] = value in a JSON file, creating the section when it is missing.
/// Returns 1 on success and 0 on any failure (unreadable file, malformed JSON, a root that is not
/// an object, a section that is not an object, unwritable file); a failure leaves the file as it
/// was.
int updateJsonValue(const QString& filePath, const QString& section, const QString& field,
                    const QJsonValue& value);

} // namespace QvUtility
