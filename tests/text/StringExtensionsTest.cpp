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

TEST(EntityTable, HoldsTheStandardNamesAndTheExtras)
{
    EXPECT_EQ(HTMLEntityTable::count(), 259);
    EXPECT_EQ(HTMLEntityTable::codePointForName(u"eacute"), char16_t(233));
    EXPECT_EQ(HTMLEntityTable::codePointForName(u"thetasym"), char16_t(977));
    EXPECT_EQ(HTMLEntityTable::codePointForName(u"diams"), char16_t(9830));
    EXPECT_EQ(HTMLEntityTable::codePointForName(u"AMP"), char16_t(38));
    EXPECT_EQ(HTMLEntityTable::codePointForName(u"Amp"), std::nullopt);
    EXPECT_EQ(HTMLEntityTable::codePointForName(u""), std::nullopt);
    // Reverse direction: the later name wins.
    EXPECT_EQ(HTMLEntityTable::nameForCodePoint(185), QStringLiteral("supl"));
    EXPECT_EQ(HTMLEntityTable::nameForCodePoint(60), QStringLiteral("lt"));
    EXPECT_EQ(HTMLEntityTable::nameForCodePoint(38), QStringLiteral("amp"));
    EXPECT_EQ(HTMLEntityTable::nameForCodePoint(34), QStringLiteral("quot"));
    EXPECT_EQ(HTMLEntityTable::nameForCodePoint(39), QStringLiteral("apos"));
    EXPECT_TRUE(HTMLEntityTable::nameForCodePoint(256).isNull());
}

TEST(TextEntities, Decoding)
{
    EXPECT_EQ(stringByReplacingAmpersandCodes(QStringLiteral("&amp;amp;")), QStringLiteral("&amp;"));
    EXPECT_EQ(stringByReplacingAmpersandCodes(QStringLiteral("&#x41")), QStringLiteral("A"));
    EXPECT_EQ(stringByReplacingAmpersandCodes(QStringLiteral("&#X4a;&#66;C")), QStringLiteral("JBC"));
    EXPECT_EQ(stringByReplacingAmpersandCodes(QStringLiteral("&#0;")), QStringLiteral("&#0;"));
    EXPECT_EQ(stringByReplacingAmpersandCodes(QStringLiteral("&#70000;")), QStringLiteral("&#70000;"));
    EXPECT_EQ(stringByReplacingAmpersandCodes(QStringLiteral("&Amp;")), QStringLiteral("&Amp;"));
    EXPECT_EQ(stringByReplacingAmpersandCodes(QStringLiteral("caf&eacute")), u(u"café"));
    EXPECT_EQ(stringByReplacingAmpersandCodes(QStringLiteral("&LT;b&GT; &supl;")), u(u"<b> ¹"));
    // Windows-1252 positions, as browsers read them.
    EXPECT_EQ(stringByReplacingAmpersandCodes(QStringLiteral("1&#150;2&#x80;")), u(u"1–2€"));
    EXPECT_EQ(stringByReplacingAmpersandCodes(QStringLiteral("&#129;")), u(u"\u0081"));
    // At most eight digits are read.
    EXPECT_EQ(stringByReplacingAmpersandCodes(QStringLiteral("&#00000065;")), QStringLiteral("A"));
    EXPECT_EQ(stringByReplacingAmpersandCodes(QStringLiteral("&#000000065;")), u(u"\u00065;"));
    // The longest name run is looked up, so a glued name is unknown.
    EXPECT_EQ(stringByReplacingAmpersandCodes(QStringLiteral("&ampx &amp x")), QStringLiteral("&ampx & x"));
    for (const char* unchanged : {"AT&T", "a & b", "&", "x&", "&#", "&#;", "&#x;", "&;", "&#xyz;"})
        EXPECT_EQ(stringByReplacingAmpersandCodes(QString::fromUtf8(unchanged)),
                  QString::fromUtf8(unchanged));

    qsizetype length = -1;
    EXPECT_EQ(ampersandCodeEquivalentAtIndex(QStringLiteral("x&amp;y"), 1, &length), QLatin1Char('&'));
    EXPECT_EQ(length, 5);
    EXPECT_EQ(ampersandCodeEquivalentAtIndex(QStringLiteral("x&#65y"), 1, &length), QLatin1Char('A'));
    EXPECT_EQ(length, 4);
    EXPECT_TRUE(ampersandCodeEquivalentAtIndex(QStringLiteral("x&amp;"), 0, &length).isNull());
    EXPECT_EQ(length, 0);
    EXPECT_TRUE(ampersandCodeEquivalentAtIndex(QStringLiteral("&"), 0, &length).isNull());
    EXPECT_TRUE(ampersandCodeEquivalentAtIndex(QStringLiteral("&amp;"), 99, &length).isNull());
}

TEST(TextEntities, Encoding)
{
    EXPECT_EQ(stringByInsertingAmpersandCodes(u(u"Café <b> €1 ¹")),
              QStringLiteral("Caf&eacute; <b> &euro;1 &supl;"));
    // Without a name: the decimal code point between "&" and ";".
    EXPECT_EQ(stringByInsertingAmpersandCodes(u(u"\u0100\u007f~")), QStringLiteral("&256;&127;~"));
    const QString named = u(u"Beyoncé – Déjà Vu “Live” ™");
    EXPECT_EQ(stringByReplacingAmpersandCodes(stringByInsertingAmpersandCodes(named)), named);
}

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

TEST(TextCleanup, CaseCorrection)
{
    EXPECT_EQ(correctedCaseString(QStringLiteral("ROCK AND ROLL")), QStringLiteral("Rock And Roll"));
    EXPECT_EQ(correctedCaseString(QStringLiteral("rock and roll")), QStringLiteral("Rock And Roll"));
    EXPECT_EQ(correctedCaseString(QStringLiteral("AC/DC Live")), QStringLiteral("AC/DC Live"));
    EXPECT_EQ(correctedCaseString(u(u"ÉTÉ\tÀ PARIS")), u(u"Été\tÀ Paris"));
    EXPECT_EQ(correctedCaseString(QStringLiteral("1999")), QStringLiteral("1999"));
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

TEST(TextCleanup, ArticleReordering)
{
    EXPECT_EQ(normalizedString(QStringLiteral("Beatles, The")), QStringLiteral("The Beatles"));
    EXPECT_EQ(normalizedString(QStringLiteral("Who, the")), QStringLiteral("the Who"));
    EXPECT_EQ(normalizedString(QStringLiteral("Crosby, Stills, Nash")),
              QStringLiteral("Crosby, Stills, Nash"));
    EXPECT_EQ(normalizedString(QStringLiteral("Doors, The ")), QStringLiteral("Doors, The "));
    EXPECT_EQ(normalizedString(QStringLiteral("Beatles,The")), QStringLiteral("Beatles,The"));
    EXPECT_EQ(normalizedString(QStringLiteral(", The")), QStringLiteral(", The"));
    EXPECT_EQ(normalizedString(QStringLiteral("Police\t, A")), QStringLiteral("A Police"));
}

TEST(TextNumbers, DigitsAndHighBit)
{
    EXPECT_EQ(CharacterToNumber(QLatin1Char('7'), false), 7);
    EXPECT_EQ(CharacterToNumber(QLatin1Char('a'), true), 10);
    EXPECT_EQ(CharacterToNumber(QLatin1Char('F'), true), 15);
    EXPECT_EQ(CharacterToNumber(QLatin1Char('a'), false), -1);
    EXPECT_EQ(CharacterToNumber(QLatin1Char('g'), true), -1);
    EXPECT_EQ(CharacterToNumber(QChar(0x0663), false), -1); // Arabic-Indic three
    EXPECT_EQ(ASCIIHighBitToUnicode(QChar(0x80)), QChar(0x20AC));
    EXPECT_EQ(ASCIIHighBitToUnicode(QChar(0x96)), QChar(0x2013));
    EXPECT_EQ(ASCIIHighBitToUnicode(QChar(0x9F)), QChar(0x0178));
    for (char16_t undefined : {0x81, 0x8D, 0x8F, 0x90, 0x9D})
        EXPECT_EQ(ASCIIHighBitToUnicode(QChar(undefined)), QChar(undefined));
    EXPECT_EQ(ASCIIHighBitToUnicode(QChar(0xA0)), QChar(0xA0));
    EXPECT_EQ(ASCIIHighBitToUnicode(QLatin1Char('A')), QLatin1Char('A'));
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

TEST(FlowedHTML, LineStructureComesFromTags)
{
    EXPECT_EQ(stringFlowedFromHTML(QStringLiteral("Line one<br>Line two<BR/>three<br />four")),
              QStringLiteral("Line one\nLine two\nthree\nfour"));
    EXPECT_EQ(stringFlowedFromHTML(QStringLiteral("a\n b\t\t c\r\nd")), QStringLiteral("a b c d"));
    EXPECT_EQ(stringFlowedFromHTML(QStringLiteral("<p>Para one</p><P>Para two</p>")),
              QStringLiteral("Para one\n\nPara two"));
    EXPECT_EQ(stringFlowedFromHTML(QStringLiteral("a<br> <br> <br>b")), QStringLiteral("a\n\nb"));
    EXPECT_EQ(stringFlowedFromHTML(QStringLiteral("caf&eacute; &amp; more <b>bold</b>")), u(u"café & more"));
    EXPECT_EQ(stringFlowedFromHTML(QString()), QString());
}

TEST(TextBytes, BigEndianUnicode)
{
    EXPECT_EQ(bigEndianUnicodeData(u(u"Aé")), QByteArray::fromHex("feff004100e9"));
    EXPECT_EQ(bigEndianUnicodeData(u(u"😀")), QByteArray::fromHex("feffd83dde00"));
    EXPECT_TRUE(bigEndianUnicodeData(QString()).isEmpty());
    EXPECT_EQ(bytesDescription(QByteArray::fromHex("0102030405")), QStringLiteral("<01020304 05>"));
    EXPECT_EQ(bytesDescription(QByteArray::fromHex("010203"), 2), QStringLiteral("<0102...>"));
}
