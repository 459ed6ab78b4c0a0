#include "startup.h"

#include <QApplication>
#include <QDebug>
#include <QFont>
#include <QFontDatabase>
#include <QSocketNotifier>
#include <QTranslator>

#include <atomic>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

QString loadApplicationFont() {
    const int id = QFontDatabase::addApplicationFont(QStringLiteral(":/font/NotoSansSC-Medium.ttf"));
    const QStringList families = id >= 0 ? QFontDatabase::applicationFontFamilies(id) : QStringList();
    if (families.isEmpty()) {
        qDebug() << "Failed to load font!";
        return {};
    }
    QFont font(families.first());
    font.setHintingPreference(QFont::PreferNoHinting);
    QApplication::setFont(font);
    for (const char* alias : {"Noto Sans SC Medium", "Noto Sans SC"})
        QFont::insertSubstitution(QLatin1String(alias), families.first());
    return families.first();
}

bool loadLanguage(const QString& language) {
    // Owned by the application for the life of the process: the language never changes at run
    // time, a change takes effect after a restart.
    auto* translator = new QTranslator(qApp);
    const QString file = language == QLatin1String("zh") ? QStringLiteral(":/app_zh.qm")
                                                         : QStringLiteral(":/app_en.qm");
    if (!translator->load(file)) {
        qDebug() << "Load language failed.";
        delete translator;
        return false;
    }
    if (!QCoreApplication::installTranslator(translator)) {
        qDebug() << "install translator failed.";
        delete translator;
        return false;
    }
    return true;
}

namespace {

int g_signalPipe[2] = {-1, -1};
std::atomic<bool> g_terminationRequested{false};

void onTerminationSignal(int signal) {
    // Only what is safe in a signal handler: one write to the pipe.
    const char byte = static_cast<char>(signal);
    [[maybe_unused]] const ssize_t written = ::write(g_signalPipe[0], &byte, 1);
}

} // namespace

bool quitOnTerminationSignals() {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, g_signalPipe) != 0) {
        qWarning() << "Cannot watch for termination signals.";
        return false;
    }
    auto* notifier = new QSocketNotifier(g_signalPipe[1], QSocketNotifier::Read, qApp);
    QObject::connect(notifier, &QSocketNotifier::activated, qApp, [] {
        char signal = 0;
        if (::read(g_signalPipe[1], &signal, 1) != 1)
            return;
        qWarning() << "Received signal" << int(signal) << "- quitting.";
        g_terminationRequested = true;
        QApplication::closeAllWindows();
        QCoreApplication::quit();
    });
    struct sigaction action {};
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signal : {SIGTERM, SIGINT, SIGHUP})
        ::sigaction(signal, &action, nullptr);
    return true;
}

bool terminationRequested() {
    return g_terminationRequested.load();
}
