#pragma once
// Shows the frames of the event and fusion processors: one pixmap item in a scene, in a
// QvGraphicsView. Before any frame it shows a grey picture of the current resolution. A resize or
// show fits the picture into the view; a new frame keeps the current zoom and position.
// Thread rules: GUI thread only; frames arrive through queued signals.

#include <QPixmap>
#include <QWidget>

class QGraphicsPixmapItem;
class QGraphicsScene;
class QGridLayout;
class QVBoxLayout;
class QvGraphicsView;

class ShowImageForm : public QWidget {
    Q_OBJECT
public:
    explicit ShowImageForm(QWidget* parent = nullptr);

    QvGraphicsView* view() const { return graphicsView; }
    const QPixmap& currentPixmap() const { return m_pixmap; }
    QSize resolution() const { return QSize(m_width, m_height); }
    /// Frames shown since construction.
    quint64 shownFrames() const { return m_shownFrames; }

public slots:
    void slotShowImage(QImage image);
    void showPixMap(QPixmap pixmap);
    void slotSetResolution(int width, int height);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void fitPixmap();

    QGridLayout* gridLayout_3;
    QVBoxLayout* verticalLayout;
    QvGraphicsView* graphicsView;
    QGraphicsScene* m_scene;
    QGraphicsPixmapItem* m_item;
    QPixmap m_pixmap;
    int m_width = 1280;
    int m_height = 720;
    quint64 m_shownFrames = 0;
};
