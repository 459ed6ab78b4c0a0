#pragma once
// A collapsible group of setting rows: a title bar with a fold button over a column of rows.
// It starts folded. Folded, the title bar is plain grey; unfolded it carries a brand-coloured
// bar at its left edge and a light blue background; under the pointer it is light blue too.
// Clicking the title bar or its button folds and unfolds.
// Thread rules: GUI thread only.

#include <QWidget>

class QLabel;
class QPushButton;
class QVBoxLayout;

class SettingItemBox : public QWidget {
    Q_OBJECT
public:
    explicit SettingItemBox(QWidget* parent = nullptr);

    void setTitle(const QString& text);
    QString title() const;
    /// Appends a row and fits the box to it.
    void addRow(QWidget* widget);
    /// Inserts a row at `index` of the column; an index past the end appends.
    void insertRow(QWidget* widget, int index);
    int rowCount() const;
    QWidget* rowAt(int index) const;

    void setFolded(bool folded);
    bool isFolded() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void fit(QWidget* row);

    QWidget* widget_setting_box_title = nullptr;
    QLabel* lb_setting_box_title = nullptr;
    QPushButton* pb_fold = nullptr;
    QWidget* widget_setting_box_content = nullptr;
    QVBoxLayout* m_rows = nullptr;
};
