#pragma once
// Helpers for tests that drive the real main window: the toasts it shows.

#include "qvfilepathreminderform.h"

#include <QApplication>
#include <QLabel>
#include <QList>

namespace qvtest {

/// Toasts now on screen, oldest first.
inline QList<QvFilePathReminderForm*> toasts() {
    QList<QvFilePathReminderForm*> out;
    for (QWidget* w : QApplication::topLevelWidgets())
        if (auto* t = qobject_cast<QvFilePathReminderForm*>(w); t && t->isVisible())
            out << t;
    return out;
}

inline QString toastText(QvFilePathReminderForm* toast) {
    return toast->findChild<QLabel*>(QStringLiteral("lb_show_tips"))->text();
}

/// Texts of the toasts on screen.
inline QStringList toastTexts() {
    QStringList out;
    for (QvFilePathReminderForm* t : toasts())
        out << toastText(t);
    return out;
}

/// Closes every toast (they would otherwise stand for five seconds and leak into the next test).
inline void closeToasts() {
    for (QvFilePathReminderForm* t : toasts())
        delete t;
}

} // namespace qvtest
