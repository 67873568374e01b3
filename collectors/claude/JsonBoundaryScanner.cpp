#include "collectors/claude/JsonBoundaryScanner.h"

JsonBoundaryScanner::State JsonBoundaryScanner::feed(QByteArrayView bytes)
{
    for (const char c : bytes) {
        if (m_state != State::incomplete)
            break;
        if (m_inString) {
            if (m_escaped)
                m_escaped = false;
            else if (c == '\\')
                m_escaped = true;
            else if (c == '"')
                m_inString = false;
            continue;
        }
        switch (c) {
        case '"':
            // A string outside any object or array is a bare value.
            if (m_depth == 0)
                m_state = State::impossible;
            m_inString = true;
            break;
        case '{':
        case '[':
            ++m_depth;
            break;
        case '}':
        case ']':
            if (--m_depth <= 0)
                m_state = m_depth == 0 ? State::complete : State::impossible;
            break;
        case ' ':
        case '\t':
        case '\n':
        case '\r':
            break;
        default:
            // Anything but white space before the first bracket is a bare value.
            if (m_depth == 0)
                m_state = State::impossible;
            break;
        }
    }
    return m_state;
}
