#pragma once
// "Cut Recording": the time range of the open recording to copy into a new .raw file.

#include "qvrangefiledialog.h"

class QvCutRawFile : public QvRangeFileDialog {
    Q_OBJECT
public:
    explicit QvCutRawFile(QWidget* parent = nullptr);
};
