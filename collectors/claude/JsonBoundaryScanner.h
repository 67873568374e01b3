#pragma once

#include <QByteArrayView>

// Tells, chunk by chunk, when a stream of bytes has formed one complete JSON
// object or array, without parsing it. Claude Code may keep the status-line
// command's standard input open after writing the payload, so the end of the
// document, not the end of the stream, is what the reader waits for.
class JsonBoundaryScanner
{
public:
    enum class State {
        incomplete, // more bytes are needed
        complete,   // the top-level object or array has closed
        impossible, // the stream cannot start an object or array
    };

    State feed(QByteArrayView bytes);
    State state() const { return m_state; }

private:
    State m_state = State::incomplete;
    int m_depth = 0;
    bool m_inString = false;
    bool m_escaped = false;
};
