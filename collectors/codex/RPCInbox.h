#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QJsonObject>
#include <QMutex>
#include <QSemaphore>

#include <map>
#include <memory>
#include <optional>

// The receiving side of a JSON-RPC session over a pipe: reassembles
// newline-delimited messages from the chunks the pipe delivers, keeps the
// responses to requests it was told about (a message with a numeric "id" and
// no "method"; requests from the server carry both and answer nothing), and
// wakes whoever waits for that id. When the input ends, every waiter wakes:
// no answer can come any more. So does a line longer than any answer: memory
// stays bounded whatever the server sends.
// Shared between the reading thread (`consume`) and the caller (`prepare`,
// `response`); one lock guards everything.
class RPCInbox
{
public:
    // The semaphore that `consume` releases when the response with `id`
    // arrives. Register it before sending the request, so an answer can never
    // arrive before its waiter exists.
    QSemaphore *prepare(qint64 id);

    void consume(QByteArrayView bytes);

    // Far above any real answer (a few kilobytes).
    static constexpr qsizetype kMaxLineBytes = 4 * 1024 * 1024;
    // A line passed kMaxLineBytes; the inbox closed and takes nothing more.
    bool overflowed() const;

    // The server's output has ended.
    void close();
    bool closed() const;

    std::optional<QJsonObject> response(qint64 id) const;

private:
    // Both with the lock held.
    void closeLocked();
    void overflow();

    mutable QMutex m_lock;
    QByteArray m_buffer;
    std::map<qint64, QJsonObject> m_responses;
    std::map<qint64, std::unique_ptr<QSemaphore>> m_semaphores;
    bool m_closed = false;
    bool m_overflowed = false;
};
