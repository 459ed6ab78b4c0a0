#include "appsettings.h"
#include "framelesshelper.h"
#include "mainwidget.h"
#include "qvfilepathreminderform.h"
#include "qvmessagebox.h"
#include "sidebarapssettingui.h"
#include "qvguitest.h"
#include "qvtestenv.h"

#include <QAction>
#include <QApplication>
#include <QDesktopServices>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSettings>

using qvtest::actionNamed;
using qvtest::toasts;

namespace {

// Answers the next modal message box with the named button.
void answerMessageBox(const char* button, QString* seenMessage = nullptr) {
    QTimer::singleShot(50, [button, seenMessage] {
        auto* box = qobject_cast<QVMessageBox*>(QApplication::activeModalWidget());
        if (!box)
            qFatal("no message box is open");
        if (seenMessage)
            *seenMessage = box->message();
        box->findChild<QPushButton*>(QLatin1String(button))->click();
    });
}

class UrlCatcher : public QObject {
    Q_OBJECT
public:
    QList<QUrl> urls;
public slots:
    void open(const QUrl& url) { urls << url; }
};

} // namespace

class MainWidgetTest : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<MainWidget> w;
    int restarts = 0;

private slots:
    void init() {
        restarts = 0;
        w = std::make_unique<MainWidget>();
        w->setRestartLauncher([this] {
            ++restarts;
            return true;
        });
        w->move(50, 60);
        w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w.get()));
    }
    void cleanup() {
        w.reset();
        qvtest::closeToasts();
    }

    void saveAndCutNeedARawRecording() {
        const MainWidgetForm& f = w->form();
        actionNamed(w->menuOf(f.pb_menu_file), "Cut Recording")->trigger();
        QTRY_COMPARE(toasts().size(), 1);
        QvFilePathReminderForm* toast = toasts().first();
        QCOMPARE(toast->findChild<QLabel*>("lb_show_tips")->text(), QStringLiteral("Please open a raw file first."));
        QCOMPARE(toast->findChild<QLabel*>("lb_title")->text(), QStringLiteral("Warning"));
        // The toast stands at the window's bottom-left corner.
        QCOMPARE(toast->pos().x(), w->pos().x());
        QCOMPARE(toast->pos().y() + toast->height(), w->pos().y() + w->height());
        actionNamed(w->menuOf(f.pb_menu_file), "Save as...")->trigger();
        QTRY_COMPARE(toasts().size(), 2);
    }

    void viewerTypeCyclesDvsApsFusion() {
        QSignalSpy spy(w.get(), &MainWidget::signalSetViewerShowType);
        QCOMPARE(w->viewerType(), quorvel::STREAM_DVS);
        const QString dvsStyle = w->form().pb_viewer_type->styleSheet();
        for (int expected : {1, 2, 0, 1}) {
            QTest::mouseClick(w->form().pb_viewer_type, Qt::LeftButton);
            QCOMPARE(int(w->viewerType()), expected);
            QCOMPARE(spy.last().at(0).value<quorvel::STREAM_TYPE>(), static_cast<quorvel::STREAM_TYPE>(expected));
        }
        QCOMPARE(spy.count(), 4);
        QVERIFY(w->form().pb_viewer_type->styleSheet() != dvsStyle);
        QVERIFY(w->form().pb_viewer_type->styleSheet().contains("icon_viewer_aps"));
    }

    void sideBarPanelsFoldExclusively() {
        const MainWidgetForm& f = w->form();
        QCOMPARE(f.widget_side_bar->maximumWidth(), MainWidgetForm::kSideBarNarrowWidth);
        QTest::mouseClick(f.pb_fold_dvs_setting, Qt::LeftButton);
        QVERIFY(f.pb_fold_dvs_setting->isChecked());
        QVERIFY(w->dvsPanel()->isVisible());
        QVERIFY(!w->cameraPanel()->isVisible() && !w->apsPanel()->isVisible());
        QCOMPARE(f.widget_side_bar->maximumWidth(), 500);

        QTest::mouseClick(f.pb_fold_aps_setting, Qt::LeftButton);
        QVERIFY(f.pb_fold_aps_setting->isChecked());
        QVERIFY(!f.pb_fold_dvs_setting->isChecked() && !f.pb_fold_general_setting->isChecked());
        QVERIFY(w->apsPanel()->isVisible() && !w->dvsPanel()->isVisible());

        QTest::mouseClick(f.pb_fold_aps_setting, Qt::LeftButton); // uncheck: collapse
        QVERIFY(!w->apsPanel()->isVisible());
        QCOMPARE(f.widget_side_bar->maximumWidth(), MainWidgetForm::kSideBarNarrowWidth);
        QVERIFY(!f.pb_fold_setting->isChecked());

        // The fold button brings back the panel used last, and folds it again.
        QTest::mouseClick(f.pb_fold_setting, Qt::LeftButton);
        QVERIFY(w->apsPanel()->isVisible() && f.pb_fold_aps_setting->isChecked());
        QTest::mouseClick(f.pb_fold_setting, Qt::LeftButton);
        QVERIFY(!w->apsPanel()->isVisible() && !f.pb_fold_aps_setting->isChecked());
    }

    void windowButtonsMaximiseRestoreAndClose() {
        const MainWidgetForm& f = w->form();
        QVERIFY(f.widget_title_bar->styleSheet().contains("border-top-left-radius:6px"));
        QTest::mouseClick(f.pb_win_max, Qt::LeftButton);
        QTRY_VERIFY(w->isMaximized());
        QTRY_VERIFY(f.widget_title_bar->styleSheet().contains("border-top-left-radius:0px"));
        QVERIFY(f.widget_title_bar->styleSheet().contains("border-bottom:1px solid #AAAAAA"));
        QTest::mouseClick(f.pb_win_max, Qt::LeftButton);
        QTRY_VERIFY(!w->isMaximized());
        QTRY_VERIFY(f.widget_title_bar->styleSheet().contains("border-top-left-radius:6px"));
        QTest::mouseClick(f.pb_win_close, Qt::LeftButton);
        QTRY_VERIFY(!w->isVisible());
    }

    // "Later" changes nothing; "Restart" toggles the language, saves it and relaunches.
    void languageBoxLaterOrRestart() {
        AppSettings* s = AppSettings::instance();
        s->language = "en";
        QString message;
        answerMessageBox("pb_close", &message);
        w->openActionSlot(actionNamed(w->menuOf(w->form().pb_menu_setting), "EN/中文"));
        QCOMPARE(message, QStringLiteral("The language change will take effect after restart."));
        QCOMPARE(s->language, QStringLiteral("en"));
        QCOMPARE(restarts, 0);
        QVERIFY(w->isVisible());

        answerMessageBox("pb_open");
        w->openActionSlot(actionNamed(w->menuOf(w->form().pb_menu_setting), "EN/中文"));
        QCOMPARE(s->language, QStringLiteral("zh"));
        QCOMPARE(restarts, 1);
        QSettings written(s->appConfigPath + "/config.ini", QSettings::IniFormat);
        QCOMPARE(written.value("Setting/language").toString(), QStringLiteral("zh")); // before the relaunch
        QTRY_VERIFY(!w->isVisible());
        s->language = "en";
    }

    void aboutOffersTheWebSite() {
        UrlCatcher catcher;
        QDesktopServices::setUrlHandler("https", &catcher, "open");
        QString message;
        answerMessageBox("pb_close", &message);
        w->openActionSlot(actionNamed(w->menuOf(w->form().pb_menu_help), "About us"));
        QVERIFY(message.contains("Current version: 1.2.3"));
        QVERIFY(message.contains("Is it open in the browser?"));
        QVERIFY(catcher.urls.isEmpty());
        answerMessageBox("pb_open");
        w->openActionSlot(actionNamed(w->menuOf(w->form().pb_menu_help), "About us"));
        QCOMPARE(catcher.urls.size(), 1);
        QDesktopServices::unsetUrlHandler("https");
    }
};

QV_TEST_MAIN(MainWidgetTest)

#include "test_mainwidget.moc"
