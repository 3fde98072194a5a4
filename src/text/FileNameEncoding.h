#pragma once

#include <QByteArray>
#include <QString>

// File names are bytes; Qt names files with QStrings, made from the bytes as
// UTF-8. A name that is not valid UTF-8 (a Latin-1 "é" is the byte 0xE9) gets
// U+FFFD in place of its bad bytes and no longer names the file: such names
// can only be reported, in the form the user's shell shows them.
class FileNameEncoding
{
public:
    // True when the QString made from these bytes gives the same bytes back.
    static bool isRepresentable(const QByteArray& raw);

    // The bytes as bash shows and reads them: text stays as it is, and bytes
    // that are not UTF-8 (and control characters) become $'...' with octal
    // escapes, so "caf\xE9.mp3" reads caf$'\351'.mp3.
    static QString shellQuoted(const QByteArray& raw);
};
