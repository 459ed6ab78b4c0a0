#pragma once
// Helpers of the tests that run real windows under a private X server (xvfb-run): grabbing a
// window from the screen, keeping the picture in $QV_SCREENSHOT_DIR for people to look at, and
// counting what was drawn.

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QScreen>
#include <QWidget>
#include <QtTest/QtTest>

namespace qvtest {

inline QImage grab(QWidget* w) {
    QApplication::processEvents();
    return w->screen()->grabWindow(w->winId()).toImage().convertToFormat(QImage::Format_RGB32);
}

inline void keep(const QImage& img, const QString& name) {
    const QString dir = qEnvironmentVariable("QV_SCREENSHOT_DIR", QDir::tempPath());
    QDir().mkpath(dir);
    QVERIFY(img.save(dir + "/" + name));
}

/// Pixels of a widget's area much darker than `background`: text and icons.
inline int inkPixels(const QImage& img, QWidget* root, QWidget* child, QRgb background) {
    const QRect r(child->mapTo(root, QPoint(0, 0)), child->size());
    int ink = 0;
    for (int y = r.top(); y <= r.bottom(); ++y)
        for (int x = r.left(); x <= r.right(); ++x)
            ink += qGray(img.pixel(x, y)) < qGray(background) - 60;
    return ink;
}

/// Shows `w` at 1440 x 900 and waits until the X server has drawn it.
inline bool showLarge(QWidget& w) {
    w.resize(1440, 900);
    w.show();
    return QTest::qWaitForWindowExposed(&w);
}

} // namespace qvtest
