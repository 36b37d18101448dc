#include "panel/web/jobs_thread.h"

#include "panel/web/low_priority.h"

JobsThread::JobsThread() : m_thread([this] { run(); }) {}

JobsThread::~JobsThread() {
    {
        const std::lock_guard guard(m_mutex);
        m_isEnding = true;
    }
    m_changed.notify_one();
    m_thread.join();
}

bool JobsThread::add(std::function<void()> job) {
    {
        const std::lock_guard guard(m_mutex);
        if (m_jobs.size() >= MostWaiting)
            return false;
        m_jobs.push_back(std::move(job));
    }
    m_changed.notify_one();
    return true;
}

void JobsThread::run() {
    giveWayToTheLine();
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock guard(m_mutex);
            m_changed.wait(guard, [this] { return m_isEnding || !m_jobs.empty(); });
            if (m_isEnding)
                return;
            job = std::move(m_jobs.front());
            m_jobs.pop_front();
        }
        job();
    }
}
