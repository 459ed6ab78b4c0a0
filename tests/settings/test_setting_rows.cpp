// The setting kit on its own: names both ways, the numeric, switch and choice rows, the folding
// group box and the display settings.

#include "qvlineedit.h"
#include "qvtestenv.h"
#include "settingbasewithcombobox.h"
#include "settingbasewithlineedit.h"
#include "settingbasewithswitchbutton.h"
#include "settingdisplayitem.h"
#include "settingitembox.h"
#include "settingnames.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSlider>

namespace {

template <typename T>
T* child(QObject* w, const char* name) {
    T* c = w->findChild<T*>(QLatin1String(name));
    if (!c)
        qFatal("missing child %s", name);
    return c;
}

bool redBorder(QLineEdit* e) {
    return e->styleSheet().contains("border: 1px solid #FF6058;");
}

} // namespace

class SettingRowsTest : public QObject {
    Q_OBJECT
private slots:
    void namesGoBothWays() {
        for (const char* name : {"my_gain", "my_gain_level", "bias_diff_on", "x", "channel_0_enable", "low_frequency"}) {
            const QString label = SettingNames::displayForm(name);
            QCOMPARE(SettingNames::parameterName(label), std::string(name));
        }
        QCOMPARE(SettingNames::displayForm("my_gain_level"), QString("My Gain Level"));
        QCOMPARE(SettingNames::displayForm("channel_0_enable"), QString("Channel 0 Enable"));
        // Accepted losses: upper case and double underscores do not come back.
        QCOMPARE(SettingNames::parameterName(SettingNames::displayForm("ROI_x")), std::string("roi_x"));
    }

    void numericRowGoesThroughTheSlider() {
        SettingBaseWithLineEdit row("my_gain");
        row.setRange(0, 100);
        row.setValue(40);
        QCOMPARE(child<QLabel>(&row, "lb_set_item_name")->text(), QString("My Gain"));
        QSignalSpy reports(&row, &SettingBaseWithLineEdit::signalItemValueChanged);
        std::vector<std::pair<std::string, int>> called;
        row.setValueCallback([&](std::string n, int v) { called.emplace_back(n, v); });
        QLineEdit* edit = row.lineEdit();
        auto* plus = child<QPushButton>(&row, "pb_add_item_value");
        auto* minus = child<QPushButton>(&row, "pb_sub_item_value");

        // Typing past the maximum ends at the maximum, in the text and in one report.
        edit->setText("150");
        QCOMPARE(row.value(), 100);
        QCOMPARE(edit->text(), QString("100"));
        QCOMPARE(reports.size(), 1);
        QCOMPARE(reports.at(0).at(0).value<std::string>(), std::string("my_gain"));
        QCOMPARE(reports.at(0).at(1).toInt(), 100);
        QCOMPARE(called, (std::vector<std::pair<std::string, int>>{{"my_gain", 100}}));
        plus->click();
        QCOMPARE(reports.size(), 1);
        minus->click();
        QCOMPARE(row.value(), 99);
        QCOMPARE(reports.size(), 2);

        // Values out of range and values already held change and report nothing.
        row.setValue(150);
        row.setValue(99);
        QCOMPARE(row.value(), 99);
        QCOMPARE(reports.size(), 2);

        edit->setText("abc");
        QVERIFY(redBorder(edit));
        QCOMPARE(row.value(), 99);
        plus->click();
        QCOMPARE(row.value(), 99);
        row.setValid(true);
        QVERIFY(edit->styleSheet().contains("border: 1px solid #ACACAC;"));

        // A pushed fraction is not an integer: red border, no report. Other names are ignored.
        row.slotItemValueChanged("my_gain", 2.5f);
        QCOMPARE(edit->text(), QString("2.5"));
        QVERIFY(redBorder(edit));
        row.slotItemValueChanged("my_gain", 7.0f);
        QCOMPARE(row.value(), 7);
        row.slotItemValueChanged("other", 55);
        QCOMPARE(row.value(), 7);
        QCOMPARE(reports.size(), 3);
        row.setRange(0, 100);
        row.setValue(0);
        minus->click();
        QCOMPARE(row.value(), 0);
    }

    void unitsAndTheHoverSlider() {
        SettingBaseWithLineEdit row("threshold");
        auto* unit = child<QLabel>(&row, "lb_unit");
        row.setUnit(" ");
        QCOMPARE(unit->text(), QString());
        row.setUnit("ms");
        QCOMPARE(unit->text(), QString("(ms)"));
        row.setUnit("");
        QCOMPARE(unit->text(), QString("(ms)"));

        row.show();
        QVERIFY(QTest::qWaitForWindowExposed(&row));
        auto* sliderBox = child<QWidget>(&row, "widget_with_slider");
        row.lineEdit()->clearFocus();
        QVERIFY(!sliderBox->isVisible());
        emit row.lineEdit()->signalMouseHoverd(true);
        QVERIFY(sliderBox->isVisible());
        QCOMPARE(child<QSlider>(&row, "horizontalSlider")->focusProxy(), row.lineEdit()->parentWidget()->parentWidget());
        emit row.lineEdit()->signalMouseHoverd(false);
        QVERIFY(!sliderBox->isVisible());
    }

    void switchAndChoiceRows() {
        SettingBaseWithSwitchButton flag("enable");
        QSignalSpy flagReports(&flag, &SettingBaseWithSwitchButton::signalItemValueChanged);
        flag.switchButton()->click();
        QCOMPARE(flagReports.size(), 1);
        QCOMPARE(flagReports.at(0).at(1).toBool(), true);
        flag.slotItemValueChanged("enable", false);
        flag.setChecked(true);
        flag.slotItemValueChanged("other", false);
        QVERIFY(flag.isChecked());
        QCOMPARE(flagReports.size(), 1);

        SettingBaseWithComboBox mode("mode");
        mode.addItem("band_stop");
        mode.addItem("band_pass");
        QSignalSpy modeReports(&mode, &SettingBaseWithComboBox::signalItemValueChanged);
        mode.slotItemValueChanged("mode", "band_pass");
        QCOMPARE(modeReports.size(), 1);
        QCOMPARE(modeReports.at(0).at(1).value<std::string>(), std::string("band_pass"));
        mode.slotItemValueChanged("mode", "no_such_option");
        mode.slotItemValueChanged("type", "band_stop");
        QCOMPARE(mode.currentText(), QString("band_pass"));
        QCOMPARE(modeReports.size(), 1);
    }

    void groupBoxFoldsAndPlacesRows() {
        SettingItemBox box;
        auto* title = child<QWidget>(&box, "widget_setting_box_title");
        auto* content = child<QWidget>(&box, "widget_setting_box_content");
        box.show();
        QVERIFY(box.isFolded() && !content->isVisible());
        QVERIFY(title->styleSheet().contains("border-left: 0px solid #004B6A;"));
        QVERIFY(title->styleSheet().contains("background: #F4F5F7;"));
        box.setFolded(false);
        QVERIFY(content->isVisible());
        QVERIFY(title->styleSheet().contains("border-left: 2px solid #004B6A;"));
        QVERIFY(title->styleSheet().contains("background: #E1E9ED;"));
        QCOMPARE(title->styleSheet().count("background"), 1);
        QCOMPARE(title->styleSheet().count("border"), 1);
        // Clicking the title bar folds it again.
        QTest::mouseClick(title, Qt::LeftButton, {}, QPoint(30, 10));
        QVERIFY(box.isFolded() && !content->isVisible());

        auto* a = new QWidget;
        auto* b = new QWidget;
        auto* c = new QWidget;
        box.addRow(a);
        box.insertRow(b, 5); // past the end: appended
        box.insertRow(c, 0);
        QCOMPARE(box.rowCount(), 3);
        QCOMPARE(box.rowAt(0), c);
        QCOMPARE(box.rowAt(1), a);
        QCOMPARE(box.rowAt(2), b);
    }

    void accumulationTimeParsesAndSendsOnlyValidTexts() {
        SettingDisplayItem item;
        QSignalSpy sent(&item, &SettingDisplayItem::signalCumulativeTimeChanged);
        QComboBox* list = item.accumulationTimeList();
        QCOMPARE(list->currentText(), QString("33.33ms"));
        const auto finish = [&](const QString& text) {
            list->setEditText(text);
            emit list->lineEdit()->editingFinished();
        };
        finish("50");
        QCOMPARE(list->currentText(), QString("50ms"));
        QCOMPARE(sent.size(), 1);
        QCOMPARE(sent.at(0).at(0).value<uint64_t>(), uint64_t(50000));
        QVERIFY(list->styleSheet().contains("border: 1px solid #A7A7A7;"));
        finish("500uS");
        QCOMPARE(sent.last().at(0).value<uint64_t>(), uint64_t(500));
        QCOMPARE(sent.size(), 2);
        for (const char* bad : {"2000ms", "0ms", "abc", "-5ms", "ms"}) {
            finish(bad);
            QVERIFY2(list->styleSheet().contains("border: 1px solid #FF6058;"), bad);
            QVERIFY(list->styleSheet().contains("selection-background-color: #FFDAD8;"));
        }
        QCOMPARE(sent.size(), 2);
        list->setEditText("1000ms"); // exactly one second is still valid
        QVERIFY(list->styleSheet().contains("border: 1px solid #004B6A;"));
        QCOMPARE(SettingDisplayItem::accumulationTimeUs("1.5ms"), uint64_t(1500));
        // Picking a preset applies it.
        list->setCurrentIndex(1);
        emit list->activated(1);
        QCOMPARE(sent.last().at(0).value<uint64_t>(), uint64_t(100000));
    }

    void slowRateSendsThirtyTimesTheRate() {
        SettingDisplayItem item;
        QSignalSpy sent(&item, &SettingDisplayItem::signalFpsChanged);
        QComboBox* list = item.slowRateList();
        const auto finish = [&](const QString& text) {
            list->setEditText(text);
            emit list->lineEdit()->editingFinished();
        };
        finish("0.02");
        finish("1001");
        QCOMPARE(sent.size(), 0);
        QVERIFY(list->styleSheet().contains("border: 1px solid #FF6058;"));
        // (A finished text that names a preset also counts as picking it: it may be sent twice.)
        const std::pair<const char*, uint32_t> cases[] = {{"0.5", 15}, {"1", 30}, {"1000", 30000}, {"0.03", 0}};
        for (const auto& [text, fps] : cases) {
            sent.clear();
            finish(text);
            QVERIFY2(!sent.isEmpty(), text);
            QCOMPARE(sent.last().at(0).toUInt(), fps);
        }
        QVERIFY(list->styleSheet().contains("border: 1px solid #A7A7A7;"));
    }
};

QV_TEST_MAIN(SettingRowsTest)

#include "test_setting_rows.moc"
