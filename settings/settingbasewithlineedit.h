#pragma once
// A numeric setting row: the parameter's name, a line edit between minus and plus buttons, an
// optional unit, and a slider that shows while the line edit has the keyboard focus.
//
// The slider holds the value; the line edit is its text view. Every way of changing the value
// (typing, finishing the edit, the two buttons, values pushed by name) goes through the slider,
// which clamps it into [min, max] and reports only real changes: a report is
// signalItemValueChanged(name, value) followed by the value callback, if one is set. The row knows
// nothing of cameras; a panel connects it to a parameter.
// Thread rules: GUI thread only.

#include <QWidget>

#include <functional>
#include <string>

class QLabel;
class QPushButton;
class QSlider;
class QvLineEdit;
class QvLineEditBase;
class QvToolTip;

class SettingBaseWithLineEdit : public QWidget {
    Q_OBJECT
public:
    using ValueCallback = std::function<void(std::string, int)>;

    explicit SettingBaseWithLineEdit(const std::string& name, QWidget* parent = nullptr);

    void setRange(int min, int max);
    /// Shows v when min <= v <= max; anything else is ignored.
    void setValue(int v);
    /// "(unit)" in the unit label; an empty or single-blank unit leaves the label as it is.
    void setUnit(const std::string& unit);
    void setToolTip(const QString& text);
    /// Grey border ("#ACACAC") when ok, red ("#FF6058") otherwise.
    void setValid(bool ok);
    void setValueCallback(ValueCallback callback);

    /// The parameter name, rebuilt from the label.
    std::string parameterName() const;
    int value() const;
    int minimum() const { return min; }
    int maximum() const { return max; }
    QvLineEditBase* lineEdit() const;
    QvToolTip* toolTipWidget() const { return m_toolTip; }

public slots:
    /// Writes v into the line edit when `name` is this row's; the text rules then apply.
    void slotItemValueChanged(const std::string& name, int v);
    /// As above with v in the shortest general notation (6 significant digits); a fraction does
    /// not parse as an integer, so it only turns the border red.
    void slotItemValueChanged(const std::string& name, float v);

signals:
    void signalItemValueChanged(const std::string& name, int value);

private:
    void setupUi(const QString& label);
    void setBorderColour(const QString& colour);
    void onTextChanged(const QString& text);
    void onEditingFinished();
    void step(int delta);
    void onSliderValueChanged(int value);

    QLabel* lb_set_item_name = nullptr;
    QWidget* widget = nullptr;
    QPushButton* pb_sub_item_value = nullptr;
    QvLineEdit* le_ds_line_edit = nullptr;
    QPushButton* pb_add_item_value = nullptr;
    QLabel* lb_unit = nullptr;
    QWidget* widget_with_slider = nullptr;
    QSlider* horizontalSlider = nullptr;
    QvToolTip* m_toolTip = nullptr;

    int min = 0;
    int max = 0;
    ValueCallback m_callback;
};
