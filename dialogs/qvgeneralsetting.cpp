#include "qvgeneralsetting.h"

#include "appsettings.h"
#include "qvcombobox.h"
#include "qvdialogframe.h"
#include "qvlineedit.h"

#include <QDebug>
#include <QFileDialog>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QVBoxLayout>

#include <limits>

namespace {

// The settings' own names; the lists show their translations.
const char* const kEdges[] = {QT_TRANSLATE_NOOP("QvGeneralSetting", "Rising Edge"),
                              QT_TRANSLATE_NOOP("QvGeneralSetting", "Falling Edge")};
const char* const kSchemes[] = {
    QT_TRANSLATE_NOOP("QvGeneralSetting", "Gray"), QT_TRANSLATE_NOOP("QvGeneralSetting", "Dark"),
    QT_TRANSLATE_NOOP("QvGeneralSetting", "RedBlue"), QT_TRANSLATE_NOOP("QvGeneralSetting", "RedGreen"),
    QT_TRANSLATE_NOOP("QvGeneralSetting", "Light")};

const char* const kBodyStyle =
    "QListWidget#lw_general_setting_items{border:none;border-right:1px solid #E3E3E3;outline:none;"
    "font:14px \"Noto Sans SC Medium\";color:#575757;background:white;}"
    "QListWidget#lw_general_setting_items::item{height:36px;padding-left:14px;border:none;}"
    "QListWidget#lw_general_setting_items::item:selected{background:#E5ECF0;color:#004B6A;}"
    "QListWidget#lw_general_setting_items::item:hover:!selected{background:#F5F8FA;}"
    "QTabWidget::pane{border:none;background:white;}"
    "QLabel[role=\"section\"]{font:15px \"Noto Sans SC Medium\";color:#004B6A;padding-top:4px;}"
    "QComboBox#cb_trigger_in_edge{color:#555555;border:1px solid #ACACAC;border-radius:3px;"
    "font:12px \"Noto Sans SC Medium\";padding:2px 6px;min-height:20px;background:white;}"
    "QComboBox#cb_trigger_in_edge:hover{border:1px solid #004B6A;}"
    "QComboBox#cb_trigger_in_edge::drop-down{border:none;width:18px;}"
    "QComboBox#cb_trigger_in_edge::down-arrow{image:url(:/img/assets/icon_combo_arrow.svg);width:10px;height:10px;}"
    "#sb_trigger_in_rec_enable{border:none;background:transparent;image:url(:/img/assets/btn_switch_disable.svg);}"
    "#sb_trigger_in_rec_enable:checked{image:url(:/img/assets/btn_switch_enable.svg);}"
    "#pb_sub_trigger_in_before_time,#pb_sub_trigger_in_after_time{border:none;background:transparent;"
    "image:url(:/img/assets/btn_setting_minus.svg);}"
    "#pb_sub_trigger_in_before_time:pressed,#pb_sub_trigger_in_after_time:pressed{"
    "image:url(:/img/assets/btn_setting_minus_pressed.svg);}"
    "#pb_add_trigger_in_before_time,#pb_add_trigger_in_after_time{border:none;background:transparent;"
    "image:url(:/img/assets/btn_setting_plus.svg);}"
    "#pb_add_trigger_in_before_time:pressed,#pb_add_trigger_in_after_time:pressed{"
    "image:url(:/img/assets/btn_setting_plus_pressed.svg);}"
    "#pb_select_dir,#pb_select_video_save_path{border:1px solid #ACACAC;border-radius:3px;background:white;"
    "color:#004B6A;font:14px \"Noto Sans SC Medium\";}"
    "#pb_select_dir:hover,#pb_select_video_save_path:hover{background:#D7E7EE;}";

QLabel* sectionLabel(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setProperty("role", QStringLiteral("section"));
    return label;
}

// A styled line edit whose inner edit carries the form's object name.
QLineEdit* styledField(const char* name, QWidget* parent, QWidget*& frame) {
    auto* edit = new QvLineEdit(parent);
    edit->lineEdit()->setObjectName(QLatin1String(name));
    frame = edit;
    return edit->lineEdit();
}

QPushButton* iconButton(const char* name, const QString& tip, QWidget* parent, int width, int height) {
    auto* b = new QPushButton(parent);
    b->setObjectName(QLatin1String(name));
    b->setFixedSize(width, height);
    b->setCursor(Qt::PointingHandCursor);
    b->setToolTip(tip);
    return b;
}

} // namespace

QvGeneralSetting::QvGeneralSetting(QWidget* parent) : QDialog(parent), m_settings(AppSettings::instance()) {
    m_chooseDirectory = [](QWidget* owner, const QString& title, const QString& start) {
        return QFileDialog::getExistingDirectory(owner, title, start,
                                                 QFileDialog::ShowDirsOnly | QFileDialog::DontResolveSymlinks);
    };
    setupUi();
    qDebug() << "app config path:" << m_settings->appConfigPath + QStringLiteral("/config.ini");
    loadSettings();

    connect(pb_win_close, &QPushButton::clicked, this, &QvGeneralSetting::on_pb_win_close_clicked);
    connect(pb_cancel, &QPushButton::clicked, this, &QvGeneralSetting::on_pb_cancel_clicked);
    connect(pb_save, &QPushButton::clicked, this, &QvGeneralSetting::on_pb_save_clicked);
    connect(pb_select_dir, &QPushButton::clicked, this, &QvGeneralSetting::on_pb_select_dir_clicked);
    connect(pb_select_video_save_path, &QPushButton::clicked, this,
            &QvGeneralSetting::on_pb_select_video_save_path_clicked);
    connect(pb_add_trigger_in_before_time, &QPushButton::clicked, this,
            &QvGeneralSetting::on_pb_add_trigger_in_before_time_clicked);
    connect(pb_sub_trigger_in_before_time, &QPushButton::clicked, this,
            &QvGeneralSetting::on_pb_sub_trigger_in_before_time_clicked);
    connect(pb_add_trigger_in_after_time, &QPushButton::clicked, this,
            &QvGeneralSetting::on_pb_add_trigger_in_after_time_clicked);
    connect(pb_sub_trigger_in_after_time, &QPushButton::clicked, this,
            &QvGeneralSetting::on_pb_sub_trigger_in_after_time_clicked);
    connect(lw_general_setting_items, &QListWidget::currentRowChanged, this,
            &QvGeneralSetting::on_lw_general_setting_items_currentRowChanged);
    lw_general_setting_items->setCurrentRow(0);
}

void QvGeneralSetting::setupUi() {
    setObjectName(QStringLiteral("QvGeneralSetting"));
    setWindowTitle(tr("QvGerenalSetting")); // the form's title, misspelling included
    setFixedSize(720, 500);
    QvDialogFrame frame;
    frame.setup(this, tr("General Settings"));
    widget_title_bar = frame.widget_title_bar;
    widget_title_name = frame.widget_title_name;
    lb_title = frame.lb_title;
    pb_win_close = frame.pb_win_close;
    m_helper = frame.helper;
    // The frame rejects on its close button; this dialog routes it through its own slot.
    disconnect(pb_win_close, &QPushButton::clicked, this, &QDialog::reject);
    QWidget* body = frame.widget_body;
    body->setStyleSheet(body->styleSheet() + QLatin1String(kBodyStyle));

    auto* column = new QVBoxLayout(body);
    column->setContentsMargins(0, 0, 0, 16);
    column->setSpacing(12);
    auto* row = new QHBoxLayout;
    row->setSpacing(0);
    lw_general_setting_items = new QListWidget(body);
    lw_general_setting_items->setObjectName(QStringLiteral("lw_general_setting_items"));
    lw_general_setting_items->setFixedWidth(150);
    lw_general_setting_items->addItem(tr("File"));
    lw_general_setting_items->addItem(tr("Style"));
    row->addWidget(lw_general_setting_items);

    tw_settings = new QTabWidget(body);
    tw_settings->setObjectName(QStringLiteral("tw_settings"));
    tw_settings->addTab(buildFilePage(), tr("Tab 1"));
    tw_settings->addTab(buildStylePage(), tr("Tab 2"));
    tw_settings->tabBar()->hide(); // the list on the left chooses the page
    row->addWidget(tw_settings, 1);
    column->addLayout(row, 1);

    auto* buttons = new QHBoxLayout;
    buttons->setContentsMargins(20, 0, 20, 0);
    buttons->addStretch(1);
    pb_cancel = new QPushButton(tr("Cancel"), body);
    pb_cancel->setObjectName(QStringLiteral("pb_cancel"));
    pb_cancel->setStyleSheet(QvDialogFrame::secondaryButtonStyle());
    pb_save = new QPushButton(tr("Save"), body);
    pb_save->setObjectName(QStringLiteral("pb_save"));
    pb_save->setStyleSheet(QvDialogFrame::primaryButtonStyle());
    pb_save->setDefault(true);
    buttons->addWidget(pb_cancel);
    buttons->addWidget(pb_save);
    column->addLayout(buttons);
}

QWidget* QvGeneralSetting::buildFilePage() {
    auto* page = new QWidget;
    page->setObjectName(QStringLiteral("page_file"));
    auto* grid = new QGridLayout(page);
    grid->setContentsMargins(24, 16, 24, 8);
    grid->setHorizontalSpacing(14);
    grid->setVerticalSpacing(12);
    int r = 0;
    grid->addWidget(sectionLabel(tr("Trigger In File Save Settings"), page), r++, 0, 1, 2);

    grid->addWidget(new QLabel(tr("Enable"), page), r, 0);
    sb_trigger_in_rec_enable = iconButton("sb_trigger_in_rec_enable", QString(), page, 36, 20);
    sb_trigger_in_rec_enable->setCheckable(true);
    grid->addWidget(sb_trigger_in_rec_enable, r++, 1, Qt::AlignLeft);

    grid->addWidget(new QLabel(tr("Trigger Edge"), page), r, 0);
    cb_trigger_in_edge = new QVComboBoxBase(page);
    cb_trigger_in_edge->setObjectName(QStringLiteral("cb_trigger_in_edge"));
    cb_trigger_in_edge->view()->setItemDelegate(new NoFocusFrameDelegate(cb_trigger_in_edge));
    cb_trigger_in_edge->setMinimumWidth(160);
    grid->addWidget(cb_trigger_in_edge, r++, 1, Qt::AlignLeft);

    const auto timeRow = [&](const QString& label, const char* fieldName, QLineEdit*& field, const char* subName,
                             QPushButton*& sub, const char* addName, QPushButton*& add) {
        grid->addWidget(new QLabel(label, page), r, 0);
        auto* box = new QHBoxLayout;
        box->setSpacing(6);
        sub = iconButton(subName, tr("One second less"), page, 22, 22);
        QWidget* frame = nullptr;
        field = styledField(fieldName, page, frame);
        frame->setFixedWidth(110);
        add = iconButton(addName, tr("One second more"), page, 22, 22);
        box->addWidget(sub);
        box->addWidget(frame);
        box->addWidget(add);
        box->addStretch(1);
        grid->addLayout(box, r++, 1);
    };
    timeRow(tr("Before Trigger In Save Time (sec):"), "le_trigger_in_before_time", le_trigger_in_before_time,
            "pb_sub_trigger_in_before_time", pb_sub_trigger_in_before_time, "pb_add_trigger_in_before_time",
            pb_add_trigger_in_before_time);
    timeRow(tr("After Trigger In Save Time (sec):"), "le_trigger_in_after_time", le_trigger_in_after_time,
            "pb_sub_trigger_in_after_time", pb_sub_trigger_in_after_time, "pb_add_trigger_in_after_time",
            pb_add_trigger_in_after_time);

    grid->addWidget(sectionLabel(tr("File Settings"), page), r++, 0, 1, 2);
    const auto folderRow = [&](const QString& label, const char* fieldName, QLineEdit*& field, const char* buttonName,
                               QPushButton*& button) {
        grid->addWidget(new QLabel(label, page), r, 0);
        auto* box = new QHBoxLayout;
        box->setSpacing(6);
        QWidget* frame = nullptr;
        field = styledField(fieldName, page, frame);
        button = iconButton(buttonName, tr("Select Directory"), page, 30, 26);
        button->setText(QStringLiteral("..."));
        box->addWidget(frame, 1);
        box->addWidget(button);
        grid->addLayout(box, r++, 1);
    };
    folderRow(tr("Default Out Raw File Path"), "le_default_file_path", le_default_file_path, "pb_select_dir",
              pb_select_dir);
    folderRow(tr("Default Video File Path"), "le_default_video_file_path", le_default_video_file_path,
              "pb_select_video_save_path", pb_select_video_save_path);
    grid->setColumnStretch(1, 1);
    grid->setRowStretch(r, 1);
    return page;
}

QWidget* QvGeneralSetting::buildStylePage() {
    auto* page = new QWidget;
    page->setObjectName(QStringLiteral("page_style"));
    auto* grid = new QGridLayout(page);
    grid->setContentsMargins(24, 16, 24, 8);
    grid->setHorizontalSpacing(14);
    grid->setVerticalSpacing(12);
    grid->addWidget(sectionLabel(tr("Theme"), page), 0, 0, 1, 2);
    grid->addWidget(new QLabel(tr("Events Color"), page), 1, 0);
    widget_combobox_color_theme = new QvComboBox(page);
    widget_combobox_color_theme->setObjectName(QStringLiteral("widget_combobox_color_theme"));
    widget_combobox_color_theme->setMinimumWidth(160);
    // Editable like every styled choice list, but only the five schemes can be chosen.
    widget_combobox_color_theme->comboBox()->lineEdit()->setReadOnly(true);
    grid->addWidget(widget_combobox_color_theme, 1, 1, Qt::AlignLeft);
    grid->setColumnStretch(1, 1);
    grid->setRowStretch(2, 1);
    return page;
}

void QvGeneralSetting::loadSettings() {
    le_default_file_path->setText(m_settings->outputRawFilePath);
    le_default_video_file_path->setText(m_settings->videoSavePath);

    for (const char* edge : kEdges)
        cb_trigger_in_edge->addItem(tr(edge), QLatin1String(edge));
    // A stored edge that is neither name leaves the first one chosen.
    const int edge = cb_trigger_in_edge->findData(m_settings->dvsTriggerInRecEdgeType);
    cb_trigger_in_edge->setCurrentIndex(edge >= 0 ? edge : 0);

    sb_trigger_in_rec_enable->setChecked(m_settings->dvsTriggerInRecEnable);
    le_trigger_in_before_time->setText(QString::number(m_settings->dvsBeforeTriggerInSaveTime));
    le_trigger_in_after_time->setText(QString::number(m_settings->dvsAfterTriggerInSaveTime));

    QComboBox* colours = widget_combobox_color_theme->comboBox();
    for (const char* scheme : kSchemes)
        colours->addItem(tr(scheme), QLatin1String(scheme));
    const int scheme = colours->findData(m_settings->dvsColorType);
    colours->setCurrentIndex(scheme >= 0 ? scheme : 0);
}

quint64 QvGeneralSetting::readSeconds(const QString& text) {
    const QString digits = text.trimmed();
    if (digits.isEmpty())
        return 0;
    for (const QChar c : digits)
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return 0; // signs, letters, decimals: not an unsigned number
    bool ok = false;
    const quint64 value = digits.toULongLong(&ok);
    return ok ? value : 0;
}

void QvGeneralSetting::stepField(QLineEdit* field, bool up) {
    const quint64 value = readSeconds(field->text());
    if (up)
        field->setText(QString::number(value + 1));
    else if (value > 0)
        field->setText(QString::number(value - 1));
}

void QvGeneralSetting::on_pb_add_trigger_in_before_time_clicked() {
    stepField(le_trigger_in_before_time, true);
}

void QvGeneralSetting::on_pb_sub_trigger_in_before_time_clicked() {
    stepField(le_trigger_in_before_time, false);
}

void QvGeneralSetting::on_pb_add_trigger_in_after_time_clicked() {
    stepField(le_trigger_in_after_time, true);
}

void QvGeneralSetting::on_pb_sub_trigger_in_after_time_clicked() {
    stepField(le_trigger_in_after_time, false);
}

void QvGeneralSetting::chooseFolder(QLineEdit* field) {
    const QString folder = m_chooseDirectory(this, tr("Select Directory"), field->text());
    if (!folder.isEmpty())
        field->setText(folder);
}

void QvGeneralSetting::on_pb_select_dir_clicked() {
    chooseFolder(le_default_file_path);
}

void QvGeneralSetting::on_pb_select_video_save_path_clicked() {
    chooseFolder(le_default_video_file_path);
}

void QvGeneralSetting::on_lw_general_setting_items_currentRowChanged(int currentRow) {
    if (currentRow >= 0 && currentRow < tw_settings->count())
        tw_settings->setCurrentIndex(currentRow);
}

void QvGeneralSetting::on_pb_save_clicked() {
    const auto seconds = [](const QLineEdit* field) {
        const quint64 value = readSeconds(field->text());
        return static_cast<quint32>(std::min<quint64>(value, std::numeric_limits<quint32>::max()));
    };
    m_settings->videoSavePath = le_default_video_file_path->text();
    m_settings->outputRawFilePath = le_default_file_path->text();
    m_settings->dvsTriggerInRecEnable = sb_trigger_in_rec_enable->isChecked();
    m_settings->dvsTriggerInRecEdgeType = cb_trigger_in_edge->currentData().toString();
    m_settings->dvsBeforeTriggerInSaveTime = seconds(le_trigger_in_before_time);
    m_settings->dvsAfterTriggerInSaveTime = seconds(le_trigger_in_after_time);
    m_settings->dvsColorType = widget_combobox_color_theme->comboBox()->currentData().toString();
    m_settings->save();
    emit signalTriggerInSaveFileParamChanged();
    accept();
}

void QvGeneralSetting::on_pb_cancel_clicked() {
    reject();
}

void QvGeneralSetting::on_pb_win_close_clicked() {
    reject();
}
