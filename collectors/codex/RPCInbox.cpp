#include "collectors/codex/RPCInbox.h"

#include <QJsonDocument>

#include <cmath>

namespace {

// The integer value of a numeric "id" member, if it has one.
std::optional<qint64> messageId(const QJsonObject &message)
{
    const QJsonValue id = message.value(QStringLiteral("id"));
    if (!id.isDouble())
        return std::nullopt;
    const double value = std::trunc(id.toDouble());
    if (!std::isfinite(value) || std::fabs(value) >= 9.2e18)
        return std::nullopt;
    // Integers Qt holds exactly keep their precision beyond 2^53.
    return id.toInteger(static_cast<qint64>(value));
}

} // namespace

QSemaphore *RPCInbox::prepare(qint64 id)
{
    const QMutexLocker locker(&m_lock);
    std::unique_ptr<QSemaphore> &semaphore = m_semaphores[id];
    if (!semaphore)
        semaphore = std::make_unique<QSemaphore>(m_closed ? 1 : 0);
    return semaphore.get();
}

void RPCInbox::consume(QByteArrayView bytes)
{
    if (bytes.isEmpty())
        return;
    const QMutexLocker locker(&m_lock);
    if (m_overflowed)
        return;
    m_buffer.append(bytes);
    qsizetype start = 0;
    while (true) {
        const qsizetype newline = m_buffer.indexOf('\n', start);
        if (newline < 0)
            break;
        const QByteArrayView line(m_buffer.constData() + start, newline - start);
        if (line.size() > kMaxLineBytes) {
            overflow();
            return;
        }
        start = newline + 1;
        if (line.isEmpty())
            continue;
        const QJsonDocument document = QJsonDocument::fromJson(line.toByteArray());
        if (!document.isObject())
            continue;
        const QJsonObject message = document.object();
        if (message.contains(QStringLiteral("method")))
            continue; // notifications and requests from the server
        const std::optional<qint64> id = messageId(message);
        if (!id)
            continue;
        // Only answers somebody waits for are kept: a server sending answers
        // to ids never asked for cannot fill the memory.
        if (auto waiting = m_semaphores.find(*id); waiting != m_semaphores.end()) {
            m_responses[*id] = message;
            waiting->second->release();
        }
    }
    m_buffer.remove(0, start);
    // What is left is the start of a line.
    if (m_buffer.size() > kMaxLineBytes)
        overflow();
}

void RPCInbox::overflow()
{
    m_overflowed = true;
    m_buffer = QByteArray();
    closeLocked();
}

bool RPCInbox::overflowed() const
{
    const QMutexLocker locker(&m_lock);
    return m_overflowed;
}

void RPCInbox::close()
{
    const QMutexLocker locker(&m_lock);
    closeLocked();
}

void RPCInbox::closeLocked()
{
    if (m_closed)
        return;
    m_closed = true;
    for (auto &[id, semaphore] : m_semaphores)
        semaphore->release();
}

bool RPCInbox::closed() const
{
    const QMutexLocker locker(&m_lock);
    return m_closed;
}

std::optional<QJsonObject> RPCInbox::response(qint64 id) const
{
    const QMutexLocker locker(&m_lock);
    if (auto found = m_responses.find(id); found != m_responses.end())
        return found->second;
    return std::nullopt;
}
