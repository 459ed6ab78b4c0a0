#include "showimageform.h"

#include "qvgraphicsview.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QGridLayout>
#include <QVBoxLayout>

namespace {
const QColor kNoFrameGrey(QStringLiteral("#707070"));
}

ShowImageForm::ShowImageForm(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("ShowImageForm"));
    resize(840, 429);
    setMinimumSize(0, 0);
    setStyleSheet(QStringLiteral("background-color: transparent;\nborder: 0px;\n\n"));
    gridLayout_3 = new QGridLayout(this);
    gridLayout_3->setObjectName(QStringLiteral("gridLayout_3"));
    gridLayout_3->setVerticalSpacing(0);
    const QMargins m = gridLayout_3->contentsMargins();
    gridLayout_3->setContentsMargins(m.left(), 9, m.right(), m.bottom());
    verticalLayout = new QVBoxLayout;
    verticalLayout->setObjectName(QStringLiteral("verticalLayout"));
    graphicsView = new QvGraphicsView(this);
    graphicsView->setObjectName(QStringLiteral("graphicsView"));
    verticalLayout->addWidget(graphicsView);
    gridLayout_3->addLayout(verticalLayout, 0, 0);

    m_scene = new QGraphicsScene(this);
    m_pixmap = QPixmap(m_width, m_height);
    m_pixmap.fill(kNoFrameGrey);
    m_item = m_scene->addPixmap(m_pixmap);
    graphicsView->setScene(m_scene);
    graphicsView->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    graphicsView->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
}

void ShowImageForm::slotShowImage(QImage image) {
    m_pixmap = QPixmap::fromImage(image);
    m_item->setPixmap(m_pixmap);
    ++m_shownFrames;
}

void ShowImageForm::showPixMap(QPixmap pixmap) {
    m_pixmap = pixmap;
    m_item->setPixmap(m_pixmap);
    ++m_shownFrames;
}

void ShowImageForm::slotSetResolution(int width, int height) {
    m_width = width;
    m_height = height;
    m_pixmap = QPixmap(width, height);
    m_pixmap.fill(kNoFrameGrey);
    m_item->setPixmap(m_pixmap);
    // A new source is shown whole: fitted anew (frames of a new size shown later keep the fit).
    if (isVisible()) {
        fitPixmap();
        graphicsView->resetZoom();
    }
}

void ShowImageForm::fitPixmap() {
    if (m_pixmap.isNull())
        return;
    m_scene->setSceneRect(m_item->boundingRect());
    graphicsView->fitInView(m_item, Qt::KeepAspectRatio);
}

void ShowImageForm::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    fitPixmap();
}

void ShowImageForm::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    fitPixmap();
}
