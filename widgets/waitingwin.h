#pragma once
// The busy indicator: a small frameless, always-on-top window with the waiting animation, centred
// over its parent while something long runs (opening a camera, loading a recording).
// Thread rules: GUI thread only.

#include <QWidget>

class QLabel;
class QMovie;

class WaitingWin : public QWidget {
    Q_OBJECT
public:
    explicit WaitingWin(QWidget* parent = nullptr);

    bool isAnimating() const;

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QLabel* label_waiting;
    QMovie* m_movie;
};
