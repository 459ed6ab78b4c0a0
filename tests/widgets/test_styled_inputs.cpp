// The styled inputs: style declarations rewritten in place, the line edit's focus border, the
// combo box's four looks, the line edit's pop-up strip and the tooltip.

#include "qvcombobox.h"
#include "qvlineedit.h"
#include "qvstylesheet.h"
#include "qvtestenv.h"
#include "qvtooltip.h"

#include <QApplication>
#include <QSignalSpy>
#include <QVBoxLayout>
#include <QWheelEvent>

class StyledInputsTest : public QObject {
    Q_OBJECT
private slots:
    void lineEditBorderFollowsTheFocus() {
        QWidget host;
        auto* layout = new QVBoxLayout(&host);
        auto* styled = new QvLineEdit(&host);
        auto* bare = new QvLineEditBase(&host); // no sheet at all
        layout->addWidget(styled);
        layout->addWidget(bare);
        QSignalSpy hover(styled->lineEdit(), &QvLineEditBase::signalMouseHoverd);
        host.show();
        QVERIFY(QTest::qWaitForWindowExposed(&host));
        host.activateWindow();

        styled->lineEdit()->setFocus();
        QTRY_VERIFY(styled->lineEdit()->hasFocus());
        QVERIFY(styled->lineEdit()->styleSheet().contains("border: 1px solid #004B6A;"));
        QVERIFY(!styled->lineEdit()->styleSheet().contains("#ACACAC"));
        // Something else turns the border red meanwhile: leaving still restores the grey.
        QvStyleSheet::setDeclaration(styled->lineEdit(), QvStyleSheet::borderPattern(), "border: 1px solid #FF6058;");
        bare->setFocus();
        QTRY_VERIFY(bare->hasFocus());
        QVERIFY(styled->lineEdit()->styleSheet().contains("border: 1px solid #ACACAC;"));
        QVERIFY(!styled->lineEdit()->styleSheet().contains("#FF6058"));
        QCOMPARE(bare->styleSheet(), QString("border: 1px solid #004B6A;"));
        QCOMPARE(hover.size(), 2);
        QCOMPARE(hover.at(0).at(0).toBool(), true);
        QCOMPARE(hover.at(1).at(0).toBool(), false);
    }

    void comboBoxLooksFollowThePointerAndTheList() {
        QvComboBox box;
        box.comboBox()->addItems({"a", "b"});
        box.show();
        QVERIFY(QTest::qWaitForWindowExposed(&box));
        QSignalSpy shown(&box, &QvComboBox::signalPopupShown);
        QSignalSpy hidden(&box, &QvComboBox::signalPopupHidden);
        const auto textColour = [&] {
            const QString s = box.comboBox()->styleSheet();
            return s.mid(s.indexOf("color: ") + 7, 7);
        };

        QEvent enter(QEvent::Enter);
        QApplication::sendEvent(box.comboBox(), &enter);
        QCOMPARE(box.frame()->styleSheet(), QString("border: 2px solid #D7E7EE; border-radius: 3px;"));
        QCOMPARE(textColour(), QString("#004B6A"));
        // The colour rewrite must not land inside the list's selection colour.
        QVERIFY(box.comboBox()->styleSheet().contains("selection-background-color: #D7E7EE;"));

        box.comboBox()->setCurrentIndex(1);
        box.comboBox()->showPopup();
        QCOMPARE(shown.size(), 1);
        QCOMPARE(shown.at(0).at(0).toInt(), 1);
        QEvent leave(QEvent::Leave);
        QApplication::sendEvent(box.comboBox(), &leave); // the open list takes the pointer
        QCOMPARE(textColour(), QString("#004B6A"));
        box.comboBox()->hidePopup();
        QCOMPARE(hidden.size(), 1);
        QCOMPARE(box.frame()->styleSheet(), QString("border: 2px solid transparent;                    border-radius: 3px;"));
        QCOMPARE(textColour(), QString("#A7A7A7"));
        QApplication::sendEvent(box.comboBox(), &enter);
        QApplication::sendEvent(box.comboBox(), &leave);
        QCOMPARE(box.frame()->styleSheet(), QString("border: 2px solid transparent;                border-radius: 3px;"));

        // Scrolling a panel across an unfocused box leaves its choice alone.
        QWheelEvent wheel(QPointF(5, 5), box.comboBox()->mapToGlobal(QPointF(5, 5)), {}, QPoint(0, -120), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        box.comboBox()->setCurrentIndex(0);
        box.comboBox()->clearFocus();
        QApplication::sendEvent(box.comboBox(), &wheel);
        QCOMPARE(box.comboBox()->currentIndex(), 0);
    }

    void toolTipShowsWhileThePointerIsOverItsWidget() {
        QWidget target;
        target.resize(100, 30);
        target.show();
        QVERIFY(QTest::qWaitForWindowExposed(&target));
        auto* tip = new QvToolTip("Higher values react faster.", &target);
        QVERIFY(!tip->isVisible());
        QVERIFY(tip->windowFlags() & Qt::ToolTip);
        QEvent enter(QEvent::Enter), leave(QEvent::Leave);
        QApplication::sendEvent(&target, &enter);
        QVERIFY(tip->isVisible());
        QVERIFY(tip->width() >= 100);
        QCOMPARE(tip->text(), QString("Higher values react faster."));
        QApplication::sendEvent(&target, &leave);
        QVERIFY(!tip->isVisible());
    }
};

QV_TEST_MAIN(StyledInputsTest)

#include "test_styled_inputs.moc"
