#include "framelesswindow.h"

#include "framelesshelper.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>

namespace {
QPushButton* makeBarButton(QWidget* parent, const char* name, const QString& icon, const QString& hover) {
    auto* b = new QPushButton(parent);
    b->setObjectName(QLatin1String(name));
    b->setFixedSize(FramelessWindow::kBarHeight + 14, FramelessWindow::kBarHeight);
    b->setFocusPolicy(Qt::NoFocus);
    b->setIconSize(QSize(16, 16));
    b->setStyleSheet(QStringLiteral("QPushButton{border:none;background:transparent;image:url(%1);padding:8px;}"
                                    "QPushButton:hover{background:#D7E7EE;image:url(%2);}")
                         .arg(icon, hover));
    return b;
}
} // namespace

FramelessWindow::FramelessWindow(QWidget* parent) : QMainWindow(parent) {
    m_helper = new FramelessHelper(this);

    m_bar = new QWidget(this);
    m_bar->setObjectName(QStringLiteral("window_bar"));
    m_bar->setFixedHeight(kBarHeight);
    m_bar->setAttribute(Qt::WA_StyledBackground, true);
    m_bar->setStyleSheet(QStringLiteral("#window_bar{background:#FAFAFA;border-bottom:1px solid #AAAAAA;}"));

    auto* layout = new QHBoxLayout(m_bar);
    layout->setContentsMargins(8, 0, 0, 0);
    layout->setSpacing(6);
    m_icon = new QLabel(m_bar);
    m_icon->setFixedSize(20, 20);
    m_icon->setScaledContents(true);
    m_title = new QLabel(m_bar);
    m_title->setStyleSheet(QStringLiteral("color:#555555;font:12px \"Noto Sans SC Medium\";"));
    m_min = makeBarButton(m_bar, "pb_win_min", QStringLiteral(":/img/assets/icon_win_min.svg"),
                          QStringLiteral(":/img/assets/icon_win_min_hover.svg"));
    m_max = makeBarButton(m_bar, "pb_win_max", QStringLiteral(":/img/assets/icon_win_max.svg"),
                          QStringLiteral(":/img/assets/icon_win_max_hover.svg"));
    m_close = makeBarButton(m_bar, "pb_win_close", QStringLiteral(":/img/assets/icon_win_close.svg"),
                            QStringLiteral(":/img/assets/icon_win_close_hover.svg"));
    layout->addWidget(m_icon);
    layout->addWidget(m_title, 1);
    layout->addWidget(m_min);
    layout->addWidget(m_max);
    layout->addWidget(m_close);
    setMenuWidget(m_bar);

    m_helper->setTitleBar(m_bar);
    m_helper->setSystemButton(FramelessHelper::Minimize, m_min);
    m_helper->setSystemButton(FramelessHelper::Maximize, m_max);
    m_helper->setSystemButton(FramelessHelper::Close, m_close);
    connect(m_min, &QPushButton::clicked, this, &QWidget::showMinimized);
    connect(m_max, &QPushButton::clicked, m_helper, &FramelessHelper::toggleMaximized);
    connect(m_close, &QPushButton::clicked, this, &QWidget::close);
    connect(this, &QWidget::windowTitleChanged, m_title, &QLabel::setText);
    connect(this, &QWidget::windowIconChanged, this,
            [this](const QIcon& icon) { m_icon->setPixmap(icon.pixmap(20, 20)); });
    updateMaximizeButton();
}

void FramelessWindow::changeEvent(QEvent* event) {
    if (event->type() == QEvent::WindowStateChange)
        updateMaximizeButton();
    QMainWindow::changeEvent(event);
}

void FramelessWindow::updateMaximizeButton() {
    const bool max = isMaximized();
    m_max->setToolTip(max ? tr("Restore") : tr("Maximize"));
    m_max->setStyleSheet(
        QStringLiteral("QPushButton{border:none;background:transparent;image:url(%1);padding:8px;}"
                       "QPushButton:hover{background:#D7E7EE;image:url(%2);}")
            .arg(max ? QStringLiteral(":/img/assets/icon_win_restore.svg") : QStringLiteral(":/img/assets/icon_win_max.svg"),
                 max ? QStringLiteral(":/img/assets/icon_win_restore_hover.svg")
                     : QStringLiteral(":/img/assets/icon_win_max_hover.svg")));
}
