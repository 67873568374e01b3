#pragma once

#include <QByteArray>

#include <chrono>

// What the status-line helper read from its standard input.
struct StatusLineInput {
    QByteArray bytes;
    // False when reading gave up: no complete document within the time limit,
    // more bytes than any payload has, or a first byte that cannot start an
    // object or array (a byte-order mark included: decided there, whatever
    // else has arrived).
    bool finished = true;
};

// Reads until end of file, or until the bytes form one complete JSON object or
// array (plus whatever has already arrived after it), or until the bytes
// cannot form one, or until `limit` has passed, or until `maxBytes` have been
// read.
StatusLineInput readStatusLineInput(int fd, std::chrono::milliseconds limit, qsizetype maxBytes);
