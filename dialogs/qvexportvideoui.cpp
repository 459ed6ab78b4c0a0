#include "qvexportvideoui.h"

QvExportVideoUI::QvExportVideoUI(QWidget* parent)
    : QvRangeFileDialog(tr("Export a video"), tr("Export"), QStringLiteral("xxx.mp4"), parent) {
    setObjectName(QStringLiteral("QvExportVideoUI"));
}
