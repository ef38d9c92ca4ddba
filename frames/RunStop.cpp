#include "RunStop.h"

RunStop::RunStop(QThread *owner)
    : m_owner(owner)
{
    // finished() comes from the worker thread itself, after run() returned;
    // from then on isRunning() is false and a stop means the next run again.
    QObject::connect(
        owner, &QThread::finished, owner,
        [this] {
            QMutexLocker lock(&m_lock);
            m_ended = false;
        },
        Qt::DirectConnection);
}

void RunStop::request()
{
    QMutexLocker lock(&m_lock);
    if (m_ended && m_owner->isRunning())
        return;
    m_flag = true;
}

void RunStop::runEnded()
{
    QMutexLocker lock(&m_lock);
    m_flag = false;
    m_ended = true;
}
