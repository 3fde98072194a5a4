#pragma once

#include <QByteArrayView>
#include <QString>
#include <QVariant>

// The tolerant reader of the XML property-list form. One pass over the bytes
// from tag to tag, no document tree: containers are kept on a stack while
// they are open. It reads what it can: text that is not UTF-8 becomes a
// numbered placeholder ("[NON-UTF8-1]", ...), closing tags are not matched
// against opening ones, and on damage the tree read so far is answered with
// an error text. Data that end before the root container (or a <plist>
// element that was opened) is closed are truncated: "truncated @ <length>",
// and a text cut off by the end is no value. Real numbers and data blobs are
// skipped on purpose, and integers are cut to 32 bits on purpose.
class ManualPlistParser
{
public:
    // Deeper nesting than this ends the parse with an error, so that a
    // hostile file cannot exhaust the stack or memory.
    static constexpr int kMaxDepth = 512;

    struct Result
    {
        QVariant root;         // QVariantMap or QVariantList, or null when no container was opened
        QString error;         // empty on success
        qint64 values = 0;     // texts read between tags
        qint64 utf8Errors = 0; // texts that were not UTF-8
    };

    static Result parse(QByteArrayView data);

    // The leading integer of a text (after blanks, with an optional sign),
    // cut to its low 32 bits; 0 when there is none.
    static int leadingInt32(QStringView text);
    static int leadingInt32(QByteArrayView asciiText);

    // A calendar date of the form "%Y-%m-%dT%H:%M:%SZ" in UTC, where the
    // numbers need not be zero-padded; null when the text is not one.
    static QDateTime calendarDate(QStringView text);

    // True when the bytes are well-formed UTF-8 (no overlong forms, no
    // surrogates, nothing above U+10FFFF).
    static bool isValidUtf8(const char* bytes, qsizetype length);
};
