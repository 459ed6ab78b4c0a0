#pragma once
// The kind of a user-level outcome shown by a toast. Travels by value through queued signals.

#include <QMetaType>

enum QvMessageType : int {
    QvMessageSuccess = 0,
    QvMessageWarning = 1,
    QvMessageError = 2,
};

Q_DECLARE_METATYPE(QvMessageType)
