#pragma once
// A setting row for a parameter with named options: the parameter's name and a choice list.
// Every change of the current option, whether chosen by the user or pushed by the panel, is
// reported as signalItemValueChanged(name, option text).
// Thread rules: GUI thread only.

#include <QWidget>

#include <string>

class QLabel;
class QvComboBox;
class QvToolTip;

class SettingBaseWithComboBox : public QWidget {
    Q_OBJECT
public:
    explicit SettingBaseWithComboBox(const std::string& name, QWidget* parent = nullptr);

    void addItem(const QString& text);
    QString currentText() const;
    void setToolTip(const QString& text);
    std::string parameterName() const;
    QvComboBox* comboBox() const { return cb_item; }

public slots:
    /// Makes `text` the current option when `name` is this row's and the list has it.
    void slotItemValueChanged(const std::string& name, const std::string& text);

signals:
    void signalItemValueChanged(const std::string& name, const std::string& text);

private:
    QLabel* lb_set_item_name = nullptr;
    QvComboBox* cb_item = nullptr;
    QvToolTip* m_toolTip = nullptr;
};
