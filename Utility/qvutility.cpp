#include "qvutility.h"

#include "quorvel/NetUtils.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSaveFile>
#include <QVersionNumber>

namespace QvUtility {

QString folderOfPath(const QString& path) {
    const QFileInfo info(path);
    if (info.exists() && info.isDir())
        return info.absoluteFilePath();
    if (info.exists() && info.isFile())
        return info.absolutePath();
    const QDir dir(path);
    if (dir.exists())
        return dir.absolutePath();
    const QString parent = info.path();
    if (QDir(parent).exists())
        return parent;
    qDebug() << "Path does not exist:" << path;
    return {};
}

bool makePath(const QString& path) {
    return QDir().mkpath(path);
}

bool versionAtLeast(const QString& a, const QString& b) {
    static const QRegularExpression re(QStringLiteral("V(\\d+(\\.\\d+){0,2})"));
    const QRegularExpressionMatch ma = re.match(a);
    if (!ma.hasMatch()) {
        qDebug() << "Cannot parse version from:" << a;
        return false;
    }
    const QRegularExpressionMatch mb = re.match(b);
    if (!mb.hasMatch()) {
        qDebug() << "Cannot parse version from:" << b;
        return false;
    }
    // Trailing zero parts are dropped before comparing, so V1.7 equals V1.7.0; beyond that a
    // missing part counts as lower (V1.7 < V1.7.1).
    return QVersionNumber::compare(QVersionNumber::fromString(ma.captured(1)).normalized(),
                                   QVersionNumber::fromString(mb.captured(1)).normalized()) >= 0;
}

bool isSameSubnet(const QString& ipA, const QString& ipB, const QString& mask) {
    const auto a = static_cast<quint32>(quorvel::stringToIP(ipA.toLocal8Bit().toStdString()));
    const auto b = static_cast<quint32>(quorvel::stringToIP(ipB.toLocal8Bit().toStdString()));
    const auto m = static_cast<quint32>(quorvel::stringToIP(mask.toLocal8Bit().toStdString()));
    return (a & m) == (b & m);
}

QString durationText(quint64 seconds) {
    const quint64 hours = seconds / 3600;
    const quint64 minutes = (seconds / 60) % 60;
    const quint64 secs = seconds % 60;
    return QStringLiteral("%1:%2:%3")
        .arg(hours, 2, 10, QLatin1Char('0'))
        .arg(minutes, 2, 10, QLatin1Char('0'))
        .arg(secs, 2, 10, QLatin1Char('0'));
}

int updateJsonValue(const QString& filePath, const QString& section, const QString& field,
                    const QJsonValue& value) {
    QFile in(filePath);
    if (!in.open(QIODevice::ReadOnly)) {
        qDebug() << "无法打开 JSON 文件进行读取:" << filePath;
        return 0;
    }
    const QByteArray bytes = in.readAll();
    in.close();

    QJsonParseError error{};
    QJsonDocument doc = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        qDebug() << "JSON 解析失败:" << error.errorString() << "at offset" << error.offset;
        return 0;
    }
    if (!doc.isObject()) {
        qDebug() << "JSON 根节点不是对象";
        return 0;
    }
    QJsonObject root = doc.object();
    QJsonObject sectionObject;
    if (!root.contains(section)) {
        qDebug() << "根字段不存在，将自动创建:" << section;
    } else if (!root.value(section).isObject()) {
        qDebug().noquote() << ("字段 '" + section + "' 不是一个 JSON 对象，无法写入子键");
        return 0;
    } else {
        sectionObject = root.value(section).toObject();
    }
    sectionObject.insert(field, value);
    root.insert(section, sectionObject);
    doc.setObject(root);

    // Written through a temporary file renamed over the original, so a full disk or a crash
    // mid-write never leaves a truncated camera configuration behind. A folder that refuses the
    // temporary file refuses the update: rewriting the file in place could leave it half written.
    QSaveFile out(filePath);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        qDebug() << "无法打开 JSON 文件进行写入:" << filePath;
        return 0;
    }
    out.write(doc.toJson(QJsonDocument::Indented));
    if (!out.commit()) {
        qDebug() << "无法打开 JSON 文件进行写入:" << filePath << out.errorString();
        return 0;
    }
    qDebug() << "Update JSON: [" << section << "][" << field << "] = " << value;
    return 1;
}

} // namespace QvUtility
