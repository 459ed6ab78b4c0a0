#include "qvcutrawfile.h"

QvCutRawFile::QvCutRawFile(QWidget* parent)
    : QvRangeFileDialog(tr("Cut Recording"), tr("Save"), QStringLiteral("xxx.raw"), parent) {
    setObjectName(QStringLiteral("QvCutRawFile"));
}
