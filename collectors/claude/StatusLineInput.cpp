#include "collectors/claude/StatusLineInput.h"

#include "collectors/claude/JsonBoundaryScanner.h"

#include <cerrno>
#include <poll.h>
#include <unistd.h>

StatusLineInput readStatusLineInput(int fd, std::chrono::milliseconds limit, qsizetype maxBytes)
{
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + limit;
    StatusLineInput input;
    JsonBoundaryScanner scanner;
    char chunk[16384];

    while (true) {
        // Once the document is whole, only bytes that are already there are
        // taken (so that trailing garbage still fails the strict parse).
        int wait = 0;
        if (scanner.state() == JsonBoundaryScanner::State::incomplete) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            if (left.count() <= 0) {
                input.finished = false;
                return input;
            }
            wait = static_cast<int>(left.count());
        }
        pollfd entry{fd, POLLIN, 0};
        const int ready = ::poll(&entry, 1, wait);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            return input; // whole document and nothing more waiting, or poll failed
        const ssize_t got = ::read(fd, chunk, sizeof chunk);
        if (got < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (got <= 0)
            return input; // end of file (or an unreadable descriptor)
        input.bytes.append(chunk, got);
        if (input.bytes.size() > maxBytes) {
            input.finished = false;
            return input;
        }
        if (scanner.feed(QByteArrayView(chunk, got)) == JsonBoundaryScanner::State::impossible) {
            input.finished = false; // a bare value, a stray bracket or a byte-order mark
            return input;
        }
    }
}
