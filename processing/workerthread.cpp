#include "workerthread.h"

WorkerThread::WorkerThread(std::function<void()> task, QObject* parent)
    : QThread(parent), m_task(std::move(task)) {}

WorkerThread::~WorkerThread() {
    wait(); // a thread object must never be destroyed while its task still runs
    m_task = nullptr;
}

void WorkerThread::run() {
    if (m_task) {
        try {
            m_task();
        } catch (...) {
            // No exception may cross the thread boundary; the owner learns of the outcome from
            // the state the task leaves behind.
        }
    }
    emit taskCompleted();
}
