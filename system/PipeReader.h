#pragma once

#include <QByteArrayView>

#include <atomic>
#include <functional>
#include <thread>

// Reads a descriptor on a thread of its own and hands every chunk, in order,
// to a callback, until end of file, a read error or `stop`. The callbacks run
// on the reader's thread; `ended` once after the last chunk when the input
// ended (end of file or a read error), not when stopped.
class PipeReader
{
public:
    using Callback = std::function<void(QByteArrayView chunk)>;
    using EndCallback = std::function<void()>;

    PipeReader(int fd, Callback callback, EndCallback ended = {});
    ~PipeReader();

    PipeReader(const PipeReader &) = delete;
    PipeReader &operator=(const PipeReader &) = delete;

    // Stops reading and waits for the thread; no callback runs afterwards.
    void stop();

private:
    void run(int fd);

    Callback m_callback;
    EndCallback m_ended;
    int m_wakeFd = -1;
    std::atomic<bool> m_stopping = false;
    std::thread m_thread;
};
