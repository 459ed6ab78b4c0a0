#include "qvstylesheet.h"

#include <QRegularExpression>
#include <QWidget>

namespace QvStyleSheet {

const QRegularExpression& borderPattern() {
    static const QRegularExpression re(QStringLiteral("(\\bborder[^;]*;)"));
    return re;
}

const QRegularExpression& colorPattern() {
    static const QRegularExpression re(QStringLiteral("(\\bcolor[^;]*;)"));
    return re;
}

const QRegularExpression& backgroundPattern() {
    static const QRegularExpression re(QStringLiteral("(\\bbackground[^;]*;)"));
    return re;
}

QString withDeclaration(const QString& sheet, const QRegularExpression& pattern, const QString& declaration) {
    const QRegularExpressionMatch m = pattern.match(sheet);
    if (!m.hasMatch())
        return sheet + declaration;
    QString out = sheet;
    out.replace(m.capturedStart(0), m.capturedLength(0), declaration);
    return out;
}

void setDeclaration(QWidget* widget, const QRegularExpression& pattern, const QString& declaration) {
    const QString sheet = withDeclaration(widget->styleSheet(), pattern, declaration);
    if (sheet != widget->styleSheet())
        widget->setStyleSheet(sheet);
}

} // namespace QvStyleSheet
