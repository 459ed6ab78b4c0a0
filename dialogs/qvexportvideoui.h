#pragma once
// "Export a video": the time range of the open recording to render into an MP4 file.

#include "qvrangefiledialog.h"

class QvExportVideoUI : public QvRangeFileDialog {
    Q_OBJECT
public:
    explicit QvExportVideoUI(QWidget* parent = nullptr);
};
