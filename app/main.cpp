// QuorvelView: viewer and recorder for event cameras and fusion cameras.

#include "appsettings.h"
#include "appversion.h"
#include "initdialog.h"
#include "mainwidget.h"
#include "qvutility.h"
#include "startup.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDebug>
#include <QIcon>
#include <QStandardPaths>

#include <cstdio>

namespace {

struct CommandLine {
    QString cameraSerial;
    QString recording;
};

// Read before the window system is touched, so that --help and --version also answer on a
// terminal without a display. Exits the process after printing them.
CommandLine parseCommandLine(int argc, char* argv[]) {
    QCoreApplication core(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("QuorvelView"));
    QCoreApplication::setApplicationVersion(QLatin1String(kAppVersion));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Viewer and recorder for event cameras and fusion cameras."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption cameraOption(QStringLiteral("camera"),
                                          QStringLiteral("Open the camera with this serial and stream it."),
                                          QStringLiteral("SERIAL"));
    parser.addOption(cameraOption);
    parser.addPositionalArgument(QStringLiteral("file"), QStringLiteral("A .raw recording to open and play."),
                                 QStringLiteral("[FILE.raw]"));
    parser.process(core);
    CommandLine out;
    out.cameraSerial = parser.value(cameraOption);
    if (!parser.positionalArguments().isEmpty())
        out.recording = parser.positionalArguments().first();
    return out;
}

} // namespace

int main(int argc, char* argv[]) {
    const CommandLine commandLine = parseCommandLine(argc, argv);
    QApplication::setAttribute(Qt::AA_DontCreateNativeWidgetSiblings, true);
    // High-DPI scaling is always on in Qt 6, so there is no attribute to set for it.
    QApplication app(argc, argv);
    quitOnTerminationSignals();

    loadApplicationFont();

    QCoreApplication::setApplicationName(QStringLiteral("QuorvelView"));
    QCoreApplication::setOrganizationName(QStringLiteral("Quorvel"));
    QCoreApplication::setApplicationVersion(QLatin1String(kAppVersion));
    const QString configPath = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    qDebug() << "app config path:" << configPath;
    QvUtility::makePath(configPath);
    AppSettings* settings = AppSettings::instance();

    loadLanguage(settings->language);
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/img/assets/Quorvel logo_navigate.png")));

    InitDialog splash;
    splash.exec();

    int result = 0;
    if (!terminationRequested()) {
        MainWidget window;
        window.show();
        // "QuorvelView FILE" opens the recording and plays it; "--camera SERIAL" streams that camera.
        if (!commandLine.cameraSerial.isEmpty())
            window.openCameraBySerial(commandLine.cameraSerial);
        else if (!commandLine.recording.isEmpty())
            window.openRecording(commandLine.recording);
        if (!terminationRequested())
            result = app.exec();
    }
    // The window is gone (camera closed, recording finished, threads joined): the settings are
    // written last, and a write that fails is an error of the run.
    if (!settings->finalSave()) {
        std::fprintf(stderr, "QuorvelView: the settings could not be saved (%s)\n",
                     qPrintable(settings->lastSaveError()));
        return result != 0 ? result : 3;
    }
    return result;
}
