#include "framelesshelper.h"
#include "framelesswindow.h"
#include "qvfilepathreminderform.h"
#include "qvmessagebox.h"
#include "qvtestenv.h"

#include <QApplication>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWindow>

namespace {

template <typename T>
T* child(QWidget* w, const char* name) {
    T* c = w->findChild<T*>(QLatin1String(name));
    if (!c)
        qFatal("missing child %s", name);
    return c;
}

// A frameless window with a title bar holding a label and a button, like the real windows.
struct FramedWindow {
    QWidget window;
    QWidget* title = nullptr;
    QLabel* caption = nullptr;
    QPushButton* button = nullptr;
    FramelessHelper* helper = nullptr;

    FramedWindow() {
        window.resize(400, 300);
        auto* layout = new QVBoxLayout(&window);
        layout->setContentsMargins(0, 0, 0, 0);
        title = new QWidget(&window);
        title->setFixedHeight(40);
        auto* row = new QHBoxLayout(title);
        caption = new QLabel("caption", title);
        button = new QPushButton("x", title);
        row->addWidget(caption);
        row->addStretch(1);
        row->addWidget(button);
        layout->addWidget(title);
        layout->addStretch(1);
        helper = new FramelessHelper(&window);
        helper->setTitleBar(title);
        window.move(100, 100);
        window.show();
        if (!QTest::qWaitForWindowExposed(&window))
            qFatal("window not exposed");
    }

    // Presses at `from` (window coordinates) and moves the mouse by `by` in screen coordinates,
    // as a real mouse does while the window moves or resizes under it.
    void drag(QPoint from, QPoint by) {
        QWindow* w = window.windowHandle();
        const QPoint pressGlobal = window.mapToGlobal(from);
        QTest::mousePress(w, Qt::LeftButton, {}, from);
        for (const QPoint step : {by / 2, by}) {
            QTest::mouseMove(w, window.mapFromGlobal(pressGlobal + step));
            QApplication::processEvents();
        }
        QTest::mouseRelease(w, Qt::LeftButton, {}, window.mapFromGlobal(pressGlobal + by));
    }
};

} // namespace

class WidgetsTest : public QObject {
    Q_OBJECT
private slots:
    void anUnknownToastTypeLooksLikeSuccessAndNoFolderMeansNoOpenButton() {
        QvFilePathReminderForm toast("Saved", static_cast<QvMessageType>(7), QString());
        toast.show();
        QCOMPARE(child<QLabel>(&toast, "lb_title")->text(), QStringLiteral("Success"));
        QVERIFY(child<QWidget>(&toast, "widget_item")->styleSheet().contains("#58DB6D"));
        QVERIFY(!child<QPushButton>(&toast, "pb_open_dir")->isVisible());
    }

    void toastDeletesItselfAfterFiveSecondsEvenWhenClosedEarly() {
        QPointer<QvFilePathReminderForm> open = new QvFilePathReminderForm("a", QvMessageSuccess, QString());
        QPointer<QvFilePathReminderForm> closed = new QvFilePathReminderForm("b", QvMessageError, QString());
        open->show();
        closed->show();
        QTest::mouseClick(child<QPushButton>(closed, "pb_close"), Qt::LeftButton);
        QVERIFY(!closed->isVisible());
        QVERIFY(closed); // hidden, not yet deleted
        QTest::qWait(QvFilePathReminderForm::kLifetimeMs - 1000);
        QVERIFY(open && closed);
        QTRY_VERIFY_WITH_TIMEOUT(!open && !closed, 3000);
    }

    void messageBoxShowsItsTextsAndItsButtonsAcceptOrReject() {
        for (const char* button : {"pb_open", "pb_close", "pb_win_close"}) {
            QVMessageBox box("Really?", "Tips", "Restart", "Later");
            QCOMPARE(child<QLabel>(&box, "lb_title")->text(), QStringLiteral("Tips"));
            QCOMPARE(child<QLabel>(&box, "lb_show_message")->text(), QStringLiteral("Really?"));
            QCOMPARE(child<QPushButton>(&box, "pb_open")->text(), QStringLiteral("Restart"));
            QCOMPARE(child<QPushButton>(&box, "pb_close")->text(), QStringLiteral("Later"));
            QTimer::singleShot(0, &box, [&box, button] { child<QPushButton>(&box, button)->click(); });
            QCOMPARE(box.exec(), QByteArray(button) == "pb_open" ? int(QDialog::Accepted) : int(QDialog::Rejected));
        }
    }

    void titleBarDragsTheWindowButItsButtonsDoNot() {
        FramedWindow f;
        const QPoint start = f.window.pos();
        f.drag(f.caption->mapTo(&f.window, QPoint(5, 5)), QPoint(40, 25));
        QCOMPARE(f.window.pos(), start + QPoint(40, 25));
        // A click that wobbles less than the drag distance is a click (the first half of a
        // double-click), not a move.
        f.drag(f.caption->mapTo(&f.window, QPoint(5, 5)), QPoint(2, 1));
        QCOMPARE(f.window.pos(), start + QPoint(40, 25));

        int clicks = 0;
        QObject::connect(f.button, &QPushButton::clicked, [&] { ++clicks; });
        const QPoint onButton = f.button->mapTo(&f.window, f.button->rect().center());
        QTest::mouseClick(f.window.windowHandle(), Qt::LeftButton, {}, onButton);
        QCOMPARE(clicks, 1);
        QCOMPARE(f.window.pos(), start + QPoint(40, 25));

        // Presses below the title bar belong to the content, never to the frame.
        f.drag(QPoint(200, 150), QPoint(30, 30));
        QCOMPARE(f.window.pos(), start + QPoint(40, 25));
    }

    void doubleClickOnTheTitleMaximisesAndRestores() {
        FramedWindow f;
        QSignalSpy spy(f.helper, &FramelessHelper::maximizedChanged);
        const QPoint p = f.caption->mapTo(&f.window, QPoint(5, 5));
        QTest::mouseDClick(f.window.windowHandle(), Qt::LeftButton, {}, p);
        QTRY_VERIFY(f.window.isMaximized());
        QTest::mouseDClick(f.window.windowHandle(), Qt::LeftButton, {}, f.caption->mapTo(&f.window, QPoint(5, 5)));
        QTRY_VERIFY(!f.window.isMaximized());
        QVERIFY(spy.count() >= 2);
        QCOMPARE(spy.last().at(0).toBool(), false);
    }

    void edgesResizeTheWindow() {
        FramedWindow f;
        const QRect before = f.window.geometry();
        f.drag(QPoint(before.width() - 2, before.height() - 2), QPoint(50, 30)); // bottom-right corner
        QCOMPARE(f.window.size(), before.size() + QSize(50, 30));
        QCOMPARE(f.window.pos(), before.topLeft());

        const QRect mid = f.window.geometry();
        f.drag(QPoint(1, 150), QPoint(-20, 0)); // left edge grows to the left
        QCOMPARE(f.window.geometry().left(), mid.left() - 20);
        QCOMPARE(f.window.geometry().right(), mid.right());

        f.helper->setResizeBorderWidth(0);
        const QRect fixedGeometry = f.window.geometry();
        f.drag(QPoint(1, 150), QPoint(-20, 0));
        QCOMPARE(f.window.geometry(), fixedGeometry);
    }

    void framelessMainWindowHasAWorkingBar() {
        FramelessWindow win;
        win.setWindowTitle("Session");
        win.resize(500, 400);
        win.show();
        QVERIFY(QTest::qWaitForWindowExposed(&win));
        QCOMPARE(win.windowBar()->height(), FramelessWindow::kBarHeight);
        QVERIFY(win.windowFlags() & Qt::FramelessWindowHint);
        QCOMPARE(win.windowBar()->findChildren<QLabel*>().last()->text(), QStringLiteral("Session"));
        child<QPushButton>(win.windowBar(), "pb_win_max")->click();
        QTRY_VERIFY(win.isMaximized());
        child<QPushButton>(win.windowBar(), "pb_win_max")->click();
        QTRY_VERIFY(!win.isMaximized());
        child<QPushButton>(win.windowBar(), "pb_win_close")->click();
        QTRY_VERIFY(!win.isVisible());
    }
};

QV_TEST_MAIN(WidgetsTest)

#include "test_widgets.moc"
