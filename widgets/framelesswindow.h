#pragma once
// A frameless QMainWindow whose menu widget is a 32-pixel window bar: icon, title and the
// minimise, maximise and close buttons, with dragging, double-click maximising and edge resizing
// provided by FramelessHelper.
// Thread rules: GUI thread only.

#include <QMainWindow>

class FramelessHelper;
class QLabel;
class QPushButton;

class FramelessWindow : public QMainWindow {
    Q_OBJECT
public:
    static constexpr int kBarHeight = 32;

    explicit FramelessWindow(QWidget* parent = nullptr);

    FramelessHelper* helper() const { return m_helper; }
    QWidget* windowBar() const { return m_bar; }

protected:
    void changeEvent(QEvent* event) override;

private:
    void updateMaximizeButton();

    FramelessHelper* m_helper;
    QWidget* m_bar;
    QLabel* m_icon;
    QLabel* m_title;
    QPushButton* m_min;
    QPushButton* m_max;
    QPushButton* m_close;
};
