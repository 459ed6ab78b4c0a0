#include "qvtestenv.h"

#include <QApplication>

// Both test classes share one process (and one isolated home); run them in turn.
QObject* makeUtilityTests();
QObject* makeAppSettingsTests();

int main(int argc, char** argv) {
    qvtest::isolateHome();
    QApplication app(argc, argv);
    int failures = 0;
    for (QObject* t : {makeUtilityTests(), makeAppSettingsTests()}) {
        failures += QTest::qExec(t, argc, argv);
        delete t;
    }
    return failures;
}
