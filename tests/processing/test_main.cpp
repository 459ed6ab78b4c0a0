#include "qvtestenv.h"

#include <QApplication>

QObject* makeRendererTests();
QObject* makeImageViewTests();
QObject* makePlaybackTests();
QObject* makeFusionPlaybackTests();

int main(int argc, char** argv) {
    qvtest::isolateHome();
    QApplication app(argc, argv);
    int failures = 0;
    for (QObject* t : {makeRendererTests(), makeImageViewTests(), makePlaybackTests(), makeFusionPlaybackTests()}) {
        failures += QTest::qExec(t, argc, argv);
        delete t;
    }
    return failures;
}
