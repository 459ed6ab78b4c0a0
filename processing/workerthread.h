#pragma once
// Runs one function object on a thread of its own and emits taskCompleted() when it returns.
// Used for work that must not block the GUI, such as opening a camera.
// Thread rules: create, start and destroy on the GUI thread; the destructor waits for the task.

#include <QThread>

#include <functional>

class WorkerThread : public QThread {
    Q_OBJECT
public:
    WorkerThread(std::function<void()> task, QObject* parent = nullptr);
    ~WorkerThread() override;

signals:
    void taskCompleted();

protected:
    void run() override;

private:
    std::function<void()> m_task;
};
