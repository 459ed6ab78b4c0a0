// QuorvelView: viewer and recorder for event cameras and fusion cameras.

#include "appsettings.h"
#include "initdialog.h"
#include "mainwidget.h"
#include "qvutility.h"
#include "startup.h"

#include <QApplication>
#include <QDebug>
#include <QIcon>
#include <QStandardPaths>

int main(int argc, char* argv[]) {
    QApplication::setAttribute(Qt::AA_DontCreateNativeWidgetSiblings, true);
    // High-DPI scaling is always on in Qt 6, so there is no attribute to set for it.
    QApplication app(argc, argv);

    loadApplicationFont();

    QCoreApplication::setApplicationName(QStringLiteral("QuorvelView"));
    QCoreApplication::setOrganizationName(QStringLiteral("Quorvel"));
    const QString configPath = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    qDebug() << "app config path:" << configPath;
    QvUtility::makePath(configPath);
    AppSettings* settings = AppSettings::instance();

    loadLanguage(settings->language);
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/img/assets/Quorvel logo_navigate.png")));

    InitDialog splash;
    splash.exec();

    MainWidget window;
    window.show();
    // "QuorvelView FILE" opens the recording and plays it.
    const QStringList args = QCoreApplication::arguments();
    if (args.size() > 1)
        window.openRecording(args.at(1));
    return app.exec();
}
