#pragma once
// Helpers for tests that drive the real main window: the toasts it shows, its menus' items and
// the rows of its settings panels.

#include "qvfilepathreminderform.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QList>
#include <QMenu>

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

/// The item of `menu` shown as `text`, or null.
inline QAction* actionNamed(QMenu* menu, const QString& text) {
    for (QAction* a : menu->actions())
        if (a->text() == text)
            return a;
    return nullptr;
}

/// The setting row of type `Row` in `group` whose name reads `label`, or null.
template <typename Row>
Row* settingRow(QWidget* group, const QString& label) {
    for (Row* row : group->findChildren<Row*>())
        for (QLabel* name : row->template findChildren<QLabel*>())
            if (name->text() == label)
                return row;
    return nullptr;
}

/// Types `text` into a numeric setting row and leaves the field, as a user does.
template <typename Row>
void typeInto(Row* row, const QString& text) {
    row->lineEdit()->setText(text);
    emit row->lineEdit()->editingFinished();
}

} // namespace qvtest
