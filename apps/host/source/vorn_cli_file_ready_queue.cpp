#include "vorn_cli_file_ready_queue.h"

#include "vorn_sync_manager.h"

#include <utility>

void VornCliFileReadyQueue::ask(VornSyncManager* manager, const QString& distantPath, const Answer& answer)
{
    m_asking = answer;
    m_isAsking = true;
    manager->requestFileReady(distantPath);
    m_isAsking = false;
    if (m_asking)
        m_waiting.enqueue(std::exchange(m_asking, nullptr));
}

void VornCliFileReadyQueue::onFileReady(const QString& path, bool found)
{
    Answer answer;
    if (m_isAsking)
        answer = std::exchange(m_asking, nullptr);
    else if (!m_waiting.isEmpty())
        answer = m_waiting.dequeue();
    if (answer)
        answer(path, found);
}

void VornCliFileReadyQueue::abandon()
{
    const QQueue<Answer> waiting = std::exchange(m_waiting, {});
    for (const Answer& answer : waiting)
        answer(QString(), false);
}
