#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringList>
#include <QVariantMap>

// Reading and writing the text fields of ID3 tags: the fixed-width ID3v1
// fields, the encoded strings of ID3v2 frames and the "text block" of a
// lyrics frame. Every reader stays inside the bytes it is given, whatever
// the offsets and lengths say.
class ID3TextCodec
{
public:
    // The 28-bit integer of four bytes holding 7 bits each; 0 when the four
    // bytes are not all inside the data.
    static quint32 getSynchSafeIntIn(QByteArrayView data, qsizetype offset);
    // A plain big-endian 32-bit integer; 0 when out of range.
    static quint32 bigEndianIntIn(QByteArrayView data, qsizetype offset);

    // A fixed-width field: up to the first zero byte or maxLength, trailing
    // blanks and control bytes dropped; UTF-8 when valid, else ISO-8859-1.
    // Null for an empty field.
    static QString id3v1StringIn(QByteArrayView data, qsizetype offset, qsizetype maxLength);
    // A string of an ID3v2.2 frame: ISO-8859-1 up to a zero byte for
    // encoding 0, otherwise UTF-16 with byte-order mark over the whole field.
    static QString id3v22StringIn(QByteArrayView data, qsizetype offset, int encoding, qsizetype maxLength);
    // A string of an ID3v2.3/2.4 frame. `length` is the limit on the way in
    // and the number of bytes consumed (terminator included) on the way out.
    static QString id3v23StringIn(QByteArrayView data, qsizetype offset, int encoding, qsizetype* length);
    // All strings of a text frame body (encoding byte first) lying at
    // [location, location + length). Empty strings are dropped.
    static QStringList id3v23StringsIn(QByteArrayView data, qsizetype location, qsizetype length);
    // The body of a lyrics or comment frame: encoding, language, descriptor,
    // text. Answers {"lang", "desc", "text"}, or an empty map without text.
    static QVariantMap textBlockIn(QByteArrayView data, qsizetype location, qsizetype length);

    // The integer at the start of the text, as number fields are read: blanks
    // skipped, an optional sign, then the digits (0 when there are none).
    static qint64 integerValue(QStringView text);

    // Decodes UTF-16 honouring a leading byte-order mark; big-endian without.
    static QString decodeUTF16(QByteArrayView bytes);
    // True when every character of the text exists in ISO-8859-1.
    static bool isLatin1Convertible(const QString& text);
    // ISO-8859-1 bytes of the text; characters outside it become '?'.
    static QByteArray latin1Lossy(const QString& text);

    // The encoding byte under which all of `strings` are written without
    // loss: 0 (ISO-8859-1) when every character fits, else 1 (UTF-16 with a
    // byte-order mark), the one Unicode form that ID3v2.2, 2.3 and 2.4 all
    // define. Encoding 2 is never written: ID3v2.3 has none, and in ID3v2.4
    // it means UTF-16 without a mark.
    static int writingEncodingFor(const QStringList& strings);
    // The bytes of `text` under encoding 0 (ISO-8859-1, '?' for what does
    // not fit) or 1 (FE FF, then big-endian UTF-16 units; also for an empty
    // text), without terminator.
    static QByteArray encodedString(const QString& text, int encoding);
    // The terminator of a string under that encoding: one or two zero bytes.
    static QByteArray terminator(int encoding);
};
