#include "settingnames.h"

namespace SettingNames {

QString displayForm(const std::string& parameterName) {
    QString out = QString::fromStdString(parameterName);
    bool wordStart = true;
    for (QChar& c : out) {
        if (c == QLatin1Char(' ') || c == QLatin1Char('_')) {
            wordStart = true;
        } else if (wordStart && c.isLetter()) {
            c = c.toUpper();
            wordStart = false;
        }
    }
    out.replace(QLatin1Char('_'), QLatin1Char(' '));
    return out;
}

std::string parameterName(const QString& label) {
    QString name = label.toLower();
    name.replace(QLatin1Char(' '), QLatin1Char('_'));
    return name.toStdString();
}

} // namespace SettingNames
