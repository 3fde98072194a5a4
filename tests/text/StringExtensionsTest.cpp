#include "TestSupport.h"

#include "text/HTMLEntityTable.h"
#include "text/WMStringExtensions.h"

#include <gtest/gtest.h>

#include <zlib.h>

#include <random>

using namespace WMStringExtensions;

TEST(TextEscaping, EscapesExactlyOnce)
{
    expectEach(safelyEscapedString, {{u"Rock Roll", u"Rock%20Roll"},
                                     {u"Rock%20Roll", u"Rock%20Roll"},
                                     {u"Rock%2520Roll", u"Rock%20Roll"},
                                     {u"café", u"caf%C3%A9"},
                                     {u"100%", u"100%25"},
                                     {u"http://x.org/a?b=c&d=e#f", u"http://x.org/a?b=c&d=e#f"},
                                     {u"a\"<>|b", u"a%22%3C%3E%7Cb"}});
    const QString bad = safelyEscapedString(QStringLiteral("%FF%FE"));
    for (QChar c : bad)
        EXPECT_LT(c.unicode(), 0x80);
}

TEST(TextCleanup, CaseStrippingAndArticles)
{
    expectEach(correctedCaseString, {{u"ROCK AND ROLL", u"Rock And Roll"},
                                     {u"rock and roll", u"Rock And Roll"},
                                     {u"AC/DC Live", u"AC/DC Live"},
                                     {u"ÉTÉ\tÀ PARIS", u"Été\tÀ Paris"},
                                     {u"1999", u"1999"}});
    expectEach(stringWithStrippedParenthesizedText, {{u"a (b) c (d) e", u"a  e"},
                                                     {u"Song (Live)", u"Song"},
                                                     {u"(x)", nullptr},
                                                     {u"()", u"()"},
                                                     {u"x)(y", u"x)(y"},
                                                     {u" untouched ", u" untouched "}});
    expectEach(stringWithStrippedBracketedText, {{u"Song [Remix] (Live)", u"Song  (Live)"}});
    EXPECT_EQ(
        stringWithStrippedEnclosedByChar(QStringLiteral("a<b>c<d>e"), QLatin1Char('<'), QLatin1Char('>')),
        QStringLiteral("ae"));
    expectEach(normalizedString, {{u"Beatles, The", u"The Beatles"},
                                  {u"Who, the", u"the Who"},
                                  {u"Crosby, Stills, Nash", u"Crosby, Stills, Nash"},
                                  {u"Doors, The ", u"Doors, The "},
                                  {u"Beatles,The", u"Beatles,The"},
                                  {u", The", u", The"},
                                  {u"Police\t, A", u"A Police"}});
}

TEST(TextNumbers, ChecksumStartsAtZeroWithoutFinalInversion)
{
    EXPECT_EQ(CRC(QByteArray()), 0u);
    EXPECT_EQ(CRC(QByteArrayLiteral("123456789")), 0x2DFD2D88u); // the standard CRC-32 is 0xCBF43926
    EXPECT_EQ(CRC(QByteArray(16, '\0')), 0u);
    // zlib's CRC-32 started from all ones and inverted again is the same sum.
    std::mt19937 random(99);
    for (int round = 0; round < 20; ++round) {
        QByteArray data;
        for (unsigned i = 0, n = random() % 3000; i < n; ++i)
            data.append(static_cast<char>(random()));
        const auto bytes = reinterpret_cast<const Bytef*>(data.constData());
        EXPECT_EQ(CRC(data), quint32(crc32(0xFFFFFFFFUL, bytes, uInt(data.size()))) ^ 0xFFFFFFFFu);
    }
}

TEST(TextBytes, BigEndianUnicode)
{
    EXPECT_EQ(bigEndianUnicodeData(str(u"Aé")), QByteArray::fromHex("feff004100e9"));
    EXPECT_EQ(bigEndianUnicodeData(str(u"😀")), QByteArray::fromHex("feffd83dde00"));
    EXPECT_TRUE(bigEndianUnicodeData(QString()).isEmpty());
    EXPECT_EQ(bytesDescription(QByteArray::fromHex("0102030405")), QStringLiteral("<01020304 05>"));
    EXPECT_EQ(bytesDescription(QByteArray::fromHex("010203"), 2), QStringLiteral("<0102...>"));
}
