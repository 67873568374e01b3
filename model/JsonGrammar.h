#pragma once

#include <QByteArrayView>

#include <optional>

// Where and why a text is not JSON as RFC 8259 defines it.
struct JsonGrammarError {
    qsizetype offset = 0;
    const char *reason = "";
};

// Checks `text` against the JSON grammar exactly: one value with optional
// white space around it, numbers as the grammar writes them (no leading dot,
// plus sign or zero), strings of well-formed UTF-8 without raw control
// characters and with the grammar's escapes only, no byte-order mark, nesting
// at most `maxDepth` deep. Qt's reader is more forgiving than this, and files
// that other programs own must be refused rather than repaired.
std::optional<JsonGrammarError> checkJsonGrammar(QByteArrayView text, int maxDepth = 512);
