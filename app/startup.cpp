#include "startup.h"

#include <QApplication>
#include <QDebug>
#include <QFont>
#include <QFontDatabase>
#include <QTranslator>

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
