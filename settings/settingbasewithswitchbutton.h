#pragma once
// A boolean setting row: the parameter's name and a switch. A click reports the new state as
// signalItemValueChanged(name, state); values set by the panel never report.
// Thread rules: GUI thread only.

#include <QWidget>

#include <string>

class QLabel;
class QPushButton;
class QvToolTip;

class SettingBaseWithSwitchButton : public QWidget {
    Q_OBJECT
public:
    explicit SettingBaseWithSwitchButton(const std::string& name, QWidget* parent = nullptr);

    /// Sets the switch without reporting.
    void setChecked(bool checked);
    bool isChecked() const;
    void setToolTip(const QString& text);
    std::string parameterName() const;
    QPushButton* switchButton() const { return m_switch; }

public slots:
    /// Sets the switch silently when `name` is this row's.
    void slotItemValueChanged(const std::string& name, bool v);

signals:
    void signalItemValueChanged(const std::string& name, bool value);

private:
    QLabel* lb_item_name = nullptr;
    QPushButton* m_switch = nullptr; // "switchButton"
    QvToolTip* m_toolTip = nullptr;
};
