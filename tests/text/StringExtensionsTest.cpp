#include "text/HTMLEntityTable.h"
#include "text/WMStringExtensions.h"

#include <gtest/gtest.h>

#include <zlib.h>

#include <random>

using namespace WMStringExtensions;

namespace {

QString u(const char16_t* text)
{
    return QStringView(text).toString();
}

} // namespace

TEST(TextEscaping, EscapesExactlyOnce)
{
    EXPECT_EQ(safelyEscapedString(QStringLiteral("Rock Roll")), QStringLiteral("Rock%20Roll"));
    EXPECT_EQ(safelyEscapedString(QStringLiteral("Rock%20Roll")), QStringLiteral("Rock%20Roll"));
    EXPECT_EQ(safelyEscapedString(QStringLiteral("Rock%2520Roll")), QStringLiteral("Rock%20Roll"));
    EXPECT_EQ(safelyEscapedString(u(u"café")), QStringLiteral("caf%C3%A9"));
    EXPECT_EQ(safelyEscapedString(QStringLiteral("100%")), QStringLiteral("100%25"));
    EXPECT_EQ(safelyEscapedString(QStringLiteral("http://x.org/a?b=c&d=e#f")),
              QStringLiteral("http://x.org/a?b=c&d=e#f"));
    EXPECT_EQ(safelyEscapedString(QStringLiteral("a\"<>|b")), QStringLiteral("a%22%3C%3E%7Cb"));
    const QString bad = safelyEscapedString(QStringLiteral("%FF%FE"));
    for (QChar c : bad)
        EXPECT_LT(c.unicode(), 0x80);
}

TEST(TextCleanup, StrippingEnclosedText)
{
    EXPECT_EQ(stringWithStrippedParenthesizedText(QStringLiteral("a (b) c (d) e")), QStringLiteral("a  e"));
    EXPECT_EQ(stringWithStrippedParenthesizedText(QStringLiteral("Song (Live)")), QStringLiteral("Song"));
    EXPECT_EQ(stringWithStrippedParenthesizedText(QStringLiteral("(x)")), QString());
    EXPECT_EQ(stringWithStrippedParenthesizedText(QStringLiteral("()")), QStringLiteral("()"));
    EXPECT_EQ(stringWithStrippedParenthesizedText(QStringLiteral("x)(y")), QStringLiteral("x)(y"));
    EXPECT_EQ(stringWithStrippedParenthesizedText(QStringLiteral(" untouched ")),
              QStringLiteral(" untouched "));
    EXPECT_EQ(stringWithStrippedBracketedText(QStringLiteral("Song [Remix] (Live)")),
              QStringLiteral("Song  (Live)"));
    EXPECT_EQ(
        stringWithStrippedEnclosedByChar(QStringLiteral("a<b>c<d>e"), QLatin1Char('<'), QLatin1Char('>')),
        QStringLiteral("ae"));
}

TEST(TextNumbers, ChecksumStartsAtZeroWithoutFinalInversion)
{
    EXPECT_EQ(CRC(QByteArray()), 0u);
    EXPECT_EQ(CRC(QByteArrayLiteral("123456789")), 0x2DFD2D88u);
    EXPECT_NE(CRC(QByteArrayLiteral("123456789")), 0xCBF43926u); // the standard CRC-32
    EXPECT_EQ(CRC(QByteArray(16, '\0')), 0u);
    // zlib's CRC-32 started from all ones and inverted again is the same sum.
    std::mt19937 random(99);
    for (int round = 0; round < 20; ++round) {
        QByteArray data;
        for (unsigned i = 0, n = random() % 3000; i < n; ++i)
            data.append(static_cast<char>(random()));
        const quint32 reference =
            quint32(
                crc32(0xFFFFFFFFUL, reinterpret_cast<const Bytef*>(data.constData()), uInt(data.size()))) ^
            0xFFFFFFFFu;
        EXPECT_EQ(CRC(data), reference);
    }
}

TEST(TextBytes, BigEndianUnicode)
{
    EXPECT_EQ(bigEndianUnicodeData(u(u"Aé")), QByteArray::fromHex("feff004100e9"));
    EXPECT_EQ(bigEndianUnicodeData(u(u"😀")), QByteArray::fromHex("feffd83dde00"));
    EXPECT_TRUE(bigEndianUnicodeData(QString()).isEmpty());
    EXPECT_EQ(bytesDescription(QByteArray::fromHex("0102030405")), QStringLiteral("<01020304 05>"));
    EXPECT_EQ(bytesDescription(QByteArray::fromHex("010203"), 2), QStringLiteral("<0102...>"));
}
