#include "qvsidepanel.h"

#include <QLabel>
#include <QScrollArea>
#include <QVBoxLayout>

QvSidePanel::QvSidePanel(const QString& title, const QString& emptyNote, QWidget* parent)
    : QWidget(parent) {
    setAttribute(Qt::WA_StyledBackground, true);
    setStyleSheet(QStringLiteral("QvSidePanel{background:white;border-radius:9px;}"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->setSpacing(10);

    m_title = new QLabel(title, this);
    m_title->setObjectName(QStringLiteral("lb_panel_title"));
    m_title->setStyleSheet(QStringLiteral("font:18px \"Noto Sans SC Medium\";color:#004B6A;"));
    layout->addWidget(m_title);

    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setStyleSheet(QStringLiteral("QScrollArea{background:transparent;}"));
    auto* content = new QWidget(scroll);
    content->setObjectName(QStringLiteral("widget_panel_content"));
    content->setStyleSheet(QStringLiteral("#widget_panel_content{background:transparent;}"));
    m_column = new QVBoxLayout(content);
    m_column->setContentsMargins(0, 0, 0, 0);
    m_column->setSpacing(8);
    m_empty = new QLabel(emptyNote, content);
    m_empty->setObjectName(QStringLiteral("lb_panel_empty"));
    m_empty->setWordWrap(true);
    m_empty->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    m_empty->setStyleSheet(QStringLiteral("font:13px \"Noto Sans SC Medium\";color:#A7A7A7;padding-top:24px;"));
    m_column->addWidget(m_empty);
    m_column->addStretch(1);
    scroll->setWidget(content);
    layout->addWidget(scroll, 1);
}

QString QvSidePanel::title() const {
    return m_title->text();
}

void QvSidePanel::setTitle(const QString& title) {
    m_title->setText(title);
}

void QvSidePanel::setEmptyNote(const QString& note) {
    m_empty->setText(note);
}

QString QvSidePanel::emptyNote() const {
    return m_empty->text();
}

void QvSidePanel::addGroup(QWidget* group) {
    // Keep the stretch last so that groups stack from the top.
    m_column->insertWidget(m_column->count() - 1, group);
    m_empty->hide();
}

void QvSidePanel::clearGroups() {
    for (int i = m_column->count() - 1; i >= 0; --i) {
        QWidget* w = m_column->itemAt(i)->widget();
        if (w && w != m_empty) {
            m_column->removeWidget(w);
            delete w;
        }
    }
    m_empty->show();
}

int QvSidePanel::groupCount() const {
    int n = 0;
    for (int i = 0; i < m_column->count(); ++i) {
        QWidget* w = m_column->itemAt(i)->widget();
        if (w && w != m_empty)
            ++n;
    }
    return n;
}
