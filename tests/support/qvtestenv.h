#pragma once
// Test start-up for the Qt tests: every test process gets a fresh HOME of its own (with empty
// Documents, data and config folders) before Qt reads any path, so settings tests never touch the
// user's real files and never see another test's leftovers. Also whole-file reads and writes.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>
#include <QtTest/QtTest>

#include <cstdlib>

namespace qvtest {

inline QString& testHome() {
    static QString home;
    return home;
}

inline void isolateHome() {
    static QTemporaryDir dir(QDir::tempPath() + QStringLiteral("/qvtest-home-XXXXXX"));
    const QString home = dir.path();
    QDir().mkpath(home + QStringLiteral("/.config"));
    QDir().mkpath(home + QStringLiteral("/.local/share"));
    QDir().mkpath(home + QStringLiteral("/.cache"));
    qputenv("HOME", home.toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", (home + QStringLiteral("/.config")).toLocal8Bit());
    qputenv("XDG_DATA_HOME", (home + QStringLiteral("/.local/share")).toLocal8Bit());
    qputenv("XDG_CACHE_HOME", (home + QStringLiteral("/.cache")).toLocal8Bit());
    qunsetenv("XDG_DOCUMENTS_DIR");
    testHome() = home;
}

inline QString documentsPath() {
    return testHome() + QStringLiteral("/Documents");
}

/// The whole file, or nothing when it cannot be read.
inline QByteArray readFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

/// Replaces the file's contents; false when it cannot be written.
inline bool writeFile(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

} // namespace qvtest

/// Like QTEST_MAIN, with the isolated home set up first.
#define QV_TEST_MAIN(TestObject)                                                                   \
    int main(int argc, char** argv) {                                                              \
        qvtest::isolateHome();                                                                     \
        QApplication app(argc, argv);                                                              \
        app.setAttribute(Qt::AA_Use96Dpi, true);                                                   \
        TestObject tc;                                                                             \
        QTEST_SET_MAIN_SOURCE_PATH                                                                 \
        return QTest::qExec(&tc, argc, argv);                                                      \
    }
