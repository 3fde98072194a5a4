#pragma once

#include <QByteArray>
#include <QChar>
#include <QString>

// String helpers shared by the web sources and the library reader: HTML
// character references in both directions, URL escaping that never escapes
// twice, case correction, removal of bracketed asides, reordering of a
// trailing article, a checksum and the flowing of HTML into plain text.
namespace WMStringExtensions {

// The character of the reference ("&amp;", "&#233", "&#x41;") that starts at
// index, with its length (including a following ";") in *codeLength; a null
// QChar (and length 0) when there is none. Numeric values 128-159 are mapped
// as Windows-1252, as browsers do.
QChar ampersandCodeEquivalentAtIndex(const QString& s, qsizetype index, qsizetype* codeLength);

// Every character reference replaced by its character, in one pass.
QString stringByReplacingAmpersandCodes(const QString& s);

// Every character above 126 written as "&name;", or as "&<decimal>;" when it
// has no entity name.
QString stringByInsertingAmpersandCodes(const QString& s);

// Percent escapes removed until nothing changes, then added once (UTF-8).
QString safelyEscapedString(const QString& s);

// Each word capitalised when the string is all lower or all upper case;
// mixed case is trusted and answered as it is.
QString correctedCaseString(const QString& s);

// Removes the run from the first `open` to the last `close` after it,
// repeatedly, trimming in between. Strings shorter than 3 stay as they are.
QString stringWithStrippedEnclosedByChar(const QString& s, QChar open, QChar close);
QString stringWithStrippedBracketedText(const QString& s);
QString stringWithStrippedParenthesizedText(const QString& s);

// "Name, The" -> "The Name" (exactly two parts, the second a minor word).
QString normalizedString(const QString& s);

// Digit value of c (hex digits too when hexAllowed), or -1.
int CharacterToNumber(QChar c, bool hexAllowed);

// The number at the front of a text: leading blanks, an optional sign, then
// ASCII digits ("1999-05-01" gives 1999); 0 without digits. Stops before
// the value would overflow.
qint64 intValue(QStringView s);

// c with 128-159 mapped as in Windows-1252 (undefined positions unchanged).
QChar ASCIIHighBitToUnicode(QChar c);

// Checksum of the reflected CRC-32 polynomial started at 0 without a final
// inversion. Not the standard CRC-32: stored values depend on this form.
quint32 CRC(const QByteArray& data);

// HTML fragment to text: white space collapsed, line-break and paragraph tags
// turned into line ends, other tags removed, references decoded.
QString stringFlowedFromHTML(const QString& s);

// Byte-order mark FE FF followed by the UTF-16 code units big-endian; an
// empty string gives no bytes.
QByteArray bigEndianUnicodeData(const QString& s);

// Hex dump of at most maxBytes bytes ("<0a1b 2c...>"), for log lines.
QString bytesDescription(const QByteArray& data, qsizetype maxBytes = 64);

} // namespace WMStringExtensions
