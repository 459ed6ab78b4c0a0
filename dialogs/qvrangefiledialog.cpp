#include "qvrangefiledialog.h"

#include "framelesshelper.h"

#include <QFileDialog>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
const char* const kFieldStyle =
    "QLineEdit{font:14px \"Noto Sans SC Medium\";color:#555555;border:1px solid #ACACAC;border-radius:3px;"
    "padding:4px 8px;background:white;}QLineEdit:focus{border:1px solid #004B6A;}";
const char* const kSmallButtonStyle =
    "QPushButton{font:16px \"Noto Sans SC Medium\";color:#004B6A;border:1px solid #ACACAC;border-radius:3px;"
    "background:white;min-width:28px;min-height:28px;}QPushButton:hover{background:#D7E7EE;}";
} // namespace

QvRangeFileDialog::QvRangeFileDialog(const QString& title, const QString& saveText,
                                     const QString& namePlaceholder, QWidget* parent)
    : QDialog(parent) {
    setAttribute(Qt::WA_TranslucentBackground);
    setupUi(title, saveText, namePlaceholder);
    m_helper = new FramelessHelper(this);
    m_helper->setTitleBar(widget_title);
    m_helper->setSystemButton(FramelessHelper::Close, pb_win_close);
    m_helper->setResizeBorderWidth(0);
    setWindowTitle(title);

    connect(pb_win_close, &QPushButton::clicked, this, &QDialog::reject);
    connect(pb_cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(pb_save, &QPushButton::clicked, this, &QDialog::accept);
    connect(pb_select_dir, &QPushButton::clicked, this, &QvRangeFileDialog::on_pb_select_dir_clicked);
    connect(pb_start_time_sub, &QPushButton::clicked, this, [this] { step(le_start_time, false); });
    connect(pb_start_time_plus, &QPushButton::clicked, this, [this] { step(le_start_time, true); });
    connect(pb_end_time_sub, &QPushButton::clicked, this, [this] { step(le_end_time, false); });
    connect(pb_end_time_plus, &QPushButton::clicked, this, [this] { step(le_end_time, true); });
}

void QvRangeFileDialog::setupUi(const QString& title, const QString& saveText, const QString& namePlaceholder) {
    setFixedSize(620, 400);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);

    widget_title = new QWidget(this);
    widget_title->setObjectName(QStringLiteral("widget_title"));
    widget_title->setAttribute(Qt::WA_StyledBackground, true);
    widget_title->setFixedHeight(56);
    widget_title->setStyleSheet(QStringLiteral(
        "#widget_title{background:#004B6A;border-top-left-radius:9px;border-top-right-radius:9px;}"));
    auto* titleRow = new QHBoxLayout(widget_title);
    titleRow->setContentsMargins(24, 0, 12, 0);
    lb_title = new QLabel(title, widget_title);
    lb_title->setObjectName(QStringLiteral("lb_title"));
    lb_title->setStyleSheet(QStringLiteral("color:white;font:22px \"Noto Sans SC Medium\";"));
    titleRow->addWidget(lb_title, 1);
    pb_win_close = new QPushButton(QStringLiteral("\u2715"), widget_title);
    pb_win_close->setObjectName(QStringLiteral("pb_win_close"));
    pb_win_close->setFixedSize(32, 32);
    pb_win_close->setFocusPolicy(Qt::NoFocus);
    pb_win_close->setStyleSheet(QStringLiteral(
        "QPushButton{border:none;border-radius:4px;background:transparent;color:white;font:18px;}"
        "QPushButton:hover{background:rgba(255,255,255,40);}"));
    titleRow->addWidget(pb_win_close);
    outer->addWidget(widget_title);

    auto* body = new QWidget(this);
    body->setObjectName(QStringLiteral("widget_body"));
    body->setAttribute(Qt::WA_StyledBackground, true);
    body->setStyleSheet(QStringLiteral(
        "#widget_body{background:white;border-bottom-left-radius:9px;border-bottom-right-radius:9px;}"
        "QLabel{font:14px \"Noto Sans SC Medium\";color:#555555;}") +
                        QLatin1String(kFieldStyle));
    auto* grid = new QGridLayout(body);
    grid->setContentsMargins(32, 24, 32, 24);
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(14);

    const auto timeRow = [&](int row, const QString& label, QLineEdit*& field, QPushButton*& sub, QPushButton*& plus,
                             const char* fieldName, const char* subName, const char* plusName) {
        grid->addWidget(new QLabel(label, body), row, 0);
        field = new QLineEdit(body);
        field->setObjectName(QLatin1String(fieldName));
        sub = new QPushButton(QStringLiteral("-"), body);
        sub->setObjectName(QLatin1String(subName));
        plus = new QPushButton(QStringLiteral("+"), body);
        plus->setObjectName(QLatin1String(plusName));
        for (QPushButton* b : {sub, plus})
            b->setStyleSheet(QLatin1String(kSmallButtonStyle));
        sub->setToolTip(tr("Earlier by 1 ms"));
        plus->setToolTip(tr("Later by 1 ms"));
        auto* box = new QHBoxLayout;
        box->addWidget(field, 1);
        box->addWidget(sub);
        box->addWidget(plus);
        grid->addLayout(box, row, 1);
    };
    timeRow(0, tr("Start Time"), le_start_time, pb_start_time_sub, pb_start_time_plus, "le_start_time",
            "pb_start_time_sub", "pb_start_time_plus");
    timeRow(1, tr("End Time"), le_end_time, pb_end_time_sub, pb_end_time_plus, "le_end_time", "pb_end_time_sub",
            "pb_end_time_plus");

    grid->addWidget(new QLabel(tr("Save File Path"), body), 2, 0);
    le_save_file_path = new QLineEdit(body);
    le_save_file_path->setObjectName(QStringLiteral("le_save_file_path"));
    pb_select_dir = new QPushButton(QStringLiteral("..."), body);
    pb_select_dir->setObjectName(QStringLiteral("pb_select_dir"));
    pb_select_dir->setStyleSheet(QLatin1String(kSmallButtonStyle));
    pb_select_dir->setToolTip(tr("Select Directory"));
    auto* pathBox = new QHBoxLayout;
    pathBox->addWidget(le_save_file_path, 1);
    pathBox->addWidget(pb_select_dir);
    grid->addLayout(pathBox, 2, 1);

    grid->addWidget(new QLabel(tr("File Name"), body), 3, 0);
    le_file_name = new QLineEdit(body);
    le_file_name->setObjectName(QStringLiteral("le_file_name"));
    le_file_name->setPlaceholderText(namePlaceholder);
    grid->addWidget(le_file_name, 3, 1);

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(20);
    pb_cancel = new QPushButton(tr("Cancel"), body);
    pb_cancel->setObjectName(QStringLiteral("pb_cancel"));
    pb_save = new QPushButton(saveText, body);
    pb_save->setObjectName(QStringLiteral("pb_save"));
    pb_save->setDefault(true);
    pb_cancel->setStyleSheet(QStringLiteral(
        "QPushButton{background:white;border:2px solid #004B6A;color:#004B6A;border-radius:20px;"
        "font:16px \"Noto Sans SC Medium\";min-width:140px;min-height:40px;}QPushButton:hover{background:#D7E7EE;}"));
    pb_save->setStyleSheet(QStringLiteral(
        "QPushButton{background:#004B6A;border:none;color:white;border-radius:20px;"
        "font:16px \"Noto Sans SC Medium\";min-width:140px;min-height:40px;}QPushButton:hover{background:#0A6A91;}"));
    buttons->addStretch(1);
    buttons->addWidget(pb_cancel);
    buttons->addWidget(pb_save);
    buttons->addStretch(1);
    grid->addLayout(buttons, 4, 0, 1, 2);
    grid->setRowStretch(4, 1);
    outer->addWidget(body, 1);
}

void QvRangeFileDialog::setStartTime(uint64_t timestampUs) {
    le_start_time->setText(QString::number(timestampUs));
}

void QvRangeFileDialog::setEndTime(uint64_t timestampUs) {
    le_end_time->setText(QString::number(timestampUs));
}

void QvRangeFileDialog::setSavePath(const QString& folder) {
    le_save_file_path->setText(folder);
}

void QvRangeFileDialog::setFileName(const QString& name) {
    le_file_name->setText(name);
}

uint64_t QvRangeFileDialog::getStartTime() const {
    return le_start_time->text().toULongLong(); // 0 when not a number
}

uint64_t QvRangeFileDialog::getEndTime() const {
    return le_end_time->text().toULongLong();
}

QString QvRangeFileDialog::getOutputPath() const {
    return le_save_file_path->text() + QLatin1Char('/') + le_file_name->text();
}

void QvRangeFileDialog::step(QLineEdit* field, bool up) {
    const uint64_t v = field->text().toULongLong();
    field->setText(QString::number(up ? v + kTimeStepUs : (v > kTimeStepUs ? v - kTimeStepUs : 0)));
}

void QvRangeFileDialog::on_pb_select_dir_clicked() {
    const QString dir = QFileDialog::getExistingDirectory(
        this, tr("Select Directory"), le_save_file_path->text(),
        QFileDialog::ShowDirsOnly | QFileDialog::DontResolveSymlinks);
    if (!dir.isEmpty())
        le_save_file_path->setText(dir);
}
