#include "model/JsonGrammar.h"

#include <vector>

namespace {

class GrammarChecker
{
public:
    GrammarChecker(QByteArrayView text, int maxDepth)
        : m_text(text)
        , m_maxDepth(maxDepth)
    {
    }

    std::optional<JsonGrammarError> check()
    {
        skipSpace();
        if (!value())
            return m_error;
        skipSpace();
        if (m_at != m_text.size())
            return JsonGrammarError{m_at, "garbage after the value"};
        return std::nullopt;
    }

private:
    bool fail(const char *reason)
    {
        m_error = JsonGrammarError{m_at, reason};
        return false;
    }
    bool atEnd() const { return m_at >= m_text.size(); }
    unsigned char peek() const { return atEnd() ? 0 : static_cast<unsigned char>(m_text[m_at]); }
    static bool isDigit(unsigned char c) { return c >= '0' && c <= '9'; }

    void skipSpace()
    {
        while (!atEnd() && (peek() == ' ' || peek() == '\t' || peek() == '\n' || peek() == '\r'))
            ++m_at;
    }

    bool literal(QByteArrayView word)
    {
        if (m_text.sliced(m_at).startsWith(word)) {
            m_at += word.size();
            return true;
        }
        return fail("unknown value");
    }

    // Containers are walked with an explicit stack, so depth costs no recursion.
    bool value()
    {
        std::vector<char> open; // '{' or '['
        while (true) {
            if (!scalarOrOpening(open))
                return false;
            // After a value: close containers or move to the next member.
            while (true) {
                if (open.empty())
                    return true;
                skipSpace();
                const char closing = open.back() == '{' ? '}' : ']';
                if (peek() == static_cast<unsigned char>(closing)) {
                    ++m_at;
                    open.pop_back();
                    continue;
                }
                if (peek() != ',')
                    return fail(open.back() == '{' ? "expected , or } in an object" : "expected , or ] in an array");
                ++m_at;
                skipSpace();
                if (open.back() == '{' && !memberName())
                    return false;
                break;
            }
        }
    }

    // One value; an opening bracket is pushed (and an empty container closed).
    bool scalarOrOpening(std::vector<char> &open)
    {
        while (true) {
            skipSpace();
            const unsigned char c = peek();
            if (c == '{' || c == '[') {
                if (static_cast<int>(open.size()) >= m_maxDepth)
                    return fail("nested too deeply");
                ++m_at;
                skipSpace();
                const char closing = c == '{' ? '}' : ']';
                if (peek() == static_cast<unsigned char>(closing)) {
                    ++m_at;
                    return true;
                }
                open.push_back(static_cast<char>(c));
                if (c == '{' && !memberName())
                    return false;
                continue;
            }
            if (c == '"')
                return string();
            if (c == '-' || isDigit(c))
                return number();
            if (c == 't')
                return literal("true");
            if (c == 'f')
                return literal("false");
            if (c == 'n')
                return literal("null");
            return fail(atEnd() ? "unexpected end" : "unexpected character");
        }
    }

    bool memberName()
    {
        skipSpace();
        if (peek() != '"')
            return fail("expected a string as member name");
        if (!string())
            return false;
        skipSpace();
        if (peek() != ':')
            return fail("expected :");
        ++m_at;
        return true;
    }

    bool number()
    {
        if (peek() == '-')
            ++m_at;
        if (peek() == '0') {
            ++m_at;
        } else if (isDigit(peek())) {
            while (isDigit(peek()))
                ++m_at;
        } else {
            return fail("malformed number");
        }
        if (peek() == '.') {
            ++m_at;
            if (!isDigit(peek()))
                return fail("malformed number");
            while (isDigit(peek()))
                ++m_at;
        }
        if (peek() == 'e' || peek() == 'E') {
            ++m_at;
            if (peek() == '+' || peek() == '-')
                ++m_at;
            if (!isDigit(peek()))
                return fail("malformed number");
            while (isDigit(peek()))
                ++m_at;
        }
        return true;
    }

    static int hexValue(unsigned char c)
    {
        if (isDigit(c))
            return c - '0';
        if (c >= 'a' && c <= 'f')
            return c - 'a' + 10;
        if (c >= 'A' && c <= 'F')
            return c - 'A' + 10;
        return -1;
    }

    bool string()
    {
        ++m_at; // the opening quote
        while (true) {
            if (atEnd())
                return fail("unterminated string");
            const unsigned char c = peek();
            if (c == '"') {
                ++m_at;
                return true;
            }
            if (c < 0x20)
                return fail("control character in a string");
            if (c == '\\') {
                ++m_at;
                const unsigned char escaped = peek();
                if (escaped == 'u') {
                    for (int i = 1; i <= 4; ++i) {
                        if (m_at + i >= m_text.size() || hexValue(static_cast<unsigned char>(m_text[m_at + i])) < 0)
                            return fail("malformed \\u escape");
                    }
                    m_at += 5;
                    continue;
                }
                if (QByteArrayView("\"\\/bfnrt").indexOf(static_cast<char>(escaped)) < 0 || atEnd())
                    return fail("unknown escape");
                ++m_at;
                continue;
            }
            if (c < 0x80) {
                ++m_at;
                continue;
            }
            if (!utf8Sequence())
                return false;
        }
    }

    // One multi-byte UTF-8 sequence: no overlong forms, no surrogates, at most U+10FFFF.
    bool utf8Sequence()
    {
        const unsigned char lead = peek();
        int length = 0;
        unsigned char low = 0x80;
        unsigned char high = 0xBF;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            if (lead == 0xE0)
                low = 0xA0;
            else if (lead == 0xED)
                high = 0x9F;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            if (lead == 0xF0)
                low = 0x90;
            else if (lead == 0xF4)
                high = 0x8F;
        } else {
            return fail("invalid UTF-8");
        }
        for (int i = 1; i < length; ++i) {
            if (m_at + i >= m_text.size())
                return fail("invalid UTF-8");
            const auto next = static_cast<unsigned char>(m_text[m_at + i]);
            const unsigned char from = i == 1 ? low : 0x80;
            const unsigned char to = i == 1 ? high : 0xBF;
            if (next < from || next > to)
                return fail("invalid UTF-8");
        }
        m_at += length;
        return true;
    }

    QByteArrayView m_text;
    int m_maxDepth;
    qsizetype m_at = 0;
    JsonGrammarError m_error;
};

} // namespace

std::optional<JsonGrammarError> checkJsonGrammar(QByteArrayView text, int maxDepth)
{
    return GrammarChecker(text, maxDepth).check();
}
