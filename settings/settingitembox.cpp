#include "settingitembox.h"

#include "qvstylesheet.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QVBoxLayout>

SettingItemBox::SettingItemBox(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("SettingItemBox"));
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);

    widget_setting_box_title = new QWidget(this);
    widget_setting_box_title->setObjectName(QStringLiteral("widget_setting_box_title"));
    widget_setting_box_title->setAttribute(Qt::WA_StyledBackground, true);
    widget_setting_box_title->setAttribute(Qt::WA_Hover, true);
    widget_setting_box_title->setFixedHeight(34);
    widget_setting_box_title->setCursor(Qt::PointingHandCursor);
    // Declarations without a selector: the fold state rewrites them and may append one. The
    // children set their own border and background so that the bar's stay on the bar.
    widget_setting_box_title->setStyleSheet(
        QStringLiteral("background: #F4F5F7; color: #004B6A; border-left: 0px solid #004B6A;"));
    auto* bar = new QHBoxLayout(widget_setting_box_title);
    bar->setContentsMargins(12, 0, 8, 0);
    lb_setting_box_title = new QLabel(widget_setting_box_title);
    lb_setting_box_title->setObjectName(QStringLiteral("lb_setting_box_title"));
    lb_setting_box_title->setStyleSheet(QStringLiteral(
        "border: none; background: transparent; color: #004B6A; font: 14px \"Noto Sans SC Medium\";"));
    bar->addWidget(lb_setting_box_title, 1);
    pb_fold = new QPushButton(widget_setting_box_title);
    pb_fold->setObjectName(QStringLiteral("pb_fold"));
    pb_fold->setCheckable(true);
    pb_fold->setFixedSize(20, 20);
    pb_fold->setFocusPolicy(Qt::NoFocus);
    pb_fold->setStyleSheet(QStringLiteral(
        "QPushButton{border: none; background: transparent; image: url(:/img/assets/icon_box_unfolded.svg);}"
        "QPushButton:checked{image: url(:/img/assets/icon_box_folded.svg);}"));
    bar->addWidget(pb_fold);
    outer->addWidget(widget_setting_box_title);

    widget_setting_box_content = new QWidget(this);
    widget_setting_box_content->setObjectName(QStringLiteral("widget_setting_box_content"));
    m_rows = new QVBoxLayout(widget_setting_box_content);
    m_rows->setContentsMargins(0, 6, 0, 6);
    m_rows->setSpacing(2);
    outer->addWidget(widget_setting_box_content);

    widget_setting_box_title->installEventFilter(this);
    connect(pb_fold, &QPushButton::clicked, this, &SettingItemBox::setFolded);
    setFolded(true);
}

void SettingItemBox::setTitle(const QString& text) {
    lb_setting_box_title->setText(text);
}

QString SettingItemBox::title() const {
    return lb_setting_box_title->text();
}

void SettingItemBox::fit(QWidget* row) {
    widget_setting_box_content->adjustSize();
    adjustSize();
    update();
    widget_setting_box_content->update();
    row->update();
}

void SettingItemBox::addRow(QWidget* widget) {
    m_rows->addWidget(widget);
    fit(widget);
}

void SettingItemBox::insertRow(QWidget* widget, int index) {
    m_rows->insertWidget(std::min(index, m_rows->count()), widget);
    fit(widget);
}

int SettingItemBox::rowCount() const {
    return m_rows->count();
}

QWidget* SettingItemBox::rowAt(int index) const {
    QLayoutItem* item = m_rows->itemAt(index);
    return item ? item->widget() : nullptr;
}

void SettingItemBox::setFolded(bool folded) {
    pb_fold->setChecked(folded);
    widget_setting_box_content->setVisible(!folded);
    QvStyleSheet::setDeclaration(widget_setting_box_title, QvStyleSheet::borderPattern(),
                                 folded ? QStringLiteral("border-left: 0px solid #004B6A;")
                                        : QStringLiteral("border-left: 2px solid #004B6A;"));
    QvStyleSheet::setDeclaration(widget_setting_box_title, QvStyleSheet::backgroundPattern(),
                                 folded ? QStringLiteral("background: #F4F5F7;") : QStringLiteral("background: #E1E9ED;"));
}

bool SettingItemBox::isFolded() const {
    return pb_fold->isChecked();
}

bool SettingItemBox::eventFilter(QObject* watched, QEvent* event) {
    if (watched == widget_setting_box_title) {
        switch (event->type()) {
        case QEvent::Enter:
            QvStyleSheet::setDeclaration(widget_setting_box_title, QvStyleSheet::backgroundPattern(),
                                         QStringLiteral("background: #E1E9ED;"));
            break;
        case QEvent::Leave:
            QvStyleSheet::setDeclaration(widget_setting_box_title, QvStyleSheet::backgroundPattern(),
                                         isFolded() ? QStringLiteral("background: #F4F5F7;")
                                                    : QStringLiteral("background: #E1E9ED;"));
            break;
        case QEvent::MouseButtonRelease:
            if (static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
                setFolded(!isFolded());
                return true;
            }
            break;
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}
