#pragma once

#include <QByteArrayView>

#include <atomic>
#include <functional>
#include <thread>

// Reads a descriptor on a thread of its own and hands every chunk, in order,
// to a callback, until end of file, a read error or `stop`. The callback runs
// on the reader's thread.
class PipeReader
{
public:
    using Callback = std::function<void(QByteArrayView chunk)>;

    PipeReader(int fd, Callback callback);
    ~PipeReader();

    PipeReader(const PipeReader &) = delete;
    PipeReader &operator=(const PipeReader &) = delete;

    // Stops reading and waits for the thread; no callback runs afterwards.
    void stop();

private:
    void run(int fd);

    Callback m_callback;
    int m_wakeFd = -1;
    std::atomic<bool> m_stopping = false;
    std::thread m_thread;
};
