// A thread for what takes the disk's time, so that the server goes on meanwhile.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

class JobsThread {
public:
    static constexpr std::size_t MostWaiting = 64;

    JobsThread();
    // Jobs that wait are dropped.
    ~JobsThread();
    JobsThread(const JobsThread &) = delete;
    JobsThread &operator=(const JobsThread &) = delete;

    // Any thread; false when too many wait.
    bool add(std::function<void()> job);

private:
    void run();

    std::mutex m_mutex; // guards what follows
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_jobs;
    bool m_isEnding = false;
    std::thread m_thread;
};
