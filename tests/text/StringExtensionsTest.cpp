#include "TestSupport.h"

#include "text/HTMLEntityTable.h"
#include "text/WMStringExtensions.h"

#include <gtest/gtest.h>

#include <zlib.h>

#include <random>

using namespace WMStringExtensions;

TEST(EntityTable, HoldsTheStandardNamesAndTheExtras)
{
    EXPECT_EQ(HTMLEntityTable::count(), 259);
    const std::pair<const char16_t*, std::optional<char16_t>> names[] = {
        {u"eacute", 233}, {u"thetasym", 977}, {u"diams", 9830}, {u"AMP", 38}, {u"Amp", {}}, {u"", {}}};
    for (const auto& [name, code] : names)
        EXPECT_EQ(HTMLEntityTable::codePointForName(name), code) << str(name).toStdString();
    // Reverse direction: the later name wins.
    const std::pair<char16_t, const char16_t*> codes[] = {{185, u"supl"}, {60, u"lt"},   {38, u"amp"},
                                                          {34, u"quot"},  {39, u"apos"}, {256, nullptr}};
    for (const auto& [code, name] : codes)
        EXPECT_EQ(HTMLEntityTable::nameForCodePoint(code), str(name)) << int(code);
}

TEST(TextEntities, Decoding)
{
    expectEach(stringByReplacingAmpersandCodes,
               {{u"&amp;amp;", u"&amp;"},
                {u"&#x41", u"A"},
                {u"&#X4a;&#66;C", u"JBC"},
                {u"&#0;", u"&#0;"},
                {u"&#70000;", u"&#70000;"},
                {u"&Amp;", u"&Amp;"},
                {u"caf&eacute", u"café"},
                {u"&LT;b&GT; &supl;", u"<b> ¹"},
                // Windows-1252 positions, as browsers read them.
                {u"1&#150;2&#x80;", u"1–2€"},
                {u"&#129;", u"\u0081"},
                // At most eight digits are read.
                {u"&#00000065;", u"A"},
                {u"&#000000065;", u"\u00065;"},
                // The longest name run is looked up, so a glued name is unknown.
                {u"&ampx &amp x", u"&ampx & x"},
                {u"AT&T", u"AT&T"},
                {u"a & b", u"a & b"},
                {u"&", u"&"},
                {u"x&", u"x&"},
                {u"&#", u"&#"},
                {u"&#;", u"&#;"},
                {u"&#x;", u"&#x;"},
                {u"&;", u"&;"},
                {u"&#xyz;", u"&#xyz;"}});

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
    // Without a name: the decimal code point between "&" and ";".
    expectEach(stringByInsertingAmpersandCodes,
               {{u"Café <b> €1 ¹", u"Caf&eacute; <b> &euro;1 &supl;"}, {u"\u0100\u007f~", u"&256;&127;~"}});
    const QString named = str(u"Beyoncé – Déjà Vu “Live” ™");
    EXPECT_EQ(stringByReplacingAmpersandCodes(stringByInsertingAmpersandCodes(named)), named);
}

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

TEST(TextNumbers, DigitsAndHighBit)
{
    const std::tuple<char16_t, bool, int> digits[] = {{'7', false, 7},  {'a', true, 10}, {'F', true, 15},
                                                      {'a', false, -1}, {'g', true, -1}, {0x0663, false, -1}};
    for (const auto& [c, hex, value] : digits)
        EXPECT_EQ(CharacterToNumber(QChar(c), hex), value) << int(c);
    // Windows-1252 positions; the five it leaves undefined stay as they are.
    const std::pair<char16_t, char16_t> highBit[] = {
        {0x80, 0x20AC}, {0x96, 0x2013}, {0x9F, 0x0178}, {0x81, 0x81}, {0x8D, 0x8D},
        {0x8F, 0x8F},   {0x90, 0x90},   {0x9D, 0x9D},   {0xA0, 0xA0}, {'A', 'A'}};
    for (const auto& [c, mapped] : highBit)
        EXPECT_EQ(ASCIIHighBitToUnicode(QChar(c)), QChar(mapped)) << int(c);
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

TEST(FlowedHTML, LineStructureComesFromTags)
{
    expectEach(stringFlowedFromHTML,
               {{u"Line one<br>Line two<BR/>three<br />four", u"Line one\nLine two\nthree\nfour"},
                {u"a\n b\t\t c\r\nd", u"a b c d"},
                {u"<p>Para one</p><P>Para two</p>", u"Para one\n\nPara two"},
                {u"a<br> <br> <br>b", u"a\n\nb"},
                {u"caf&eacute; &amp; more <b>bold</b>", u"café & more"},
                {nullptr, nullptr}});
}

TEST(TextBytes, BigEndianUnicode)
{
    EXPECT_EQ(bigEndianUnicodeData(str(u"Aé")), QByteArray::fromHex("feff004100e9"));
    EXPECT_EQ(bigEndianUnicodeData(str(u"😀")), QByteArray::fromHex("feffd83dde00"));
    EXPECT_TRUE(bigEndianUnicodeData(QString()).isEmpty());
    EXPECT_EQ(bytesDescription(QByteArray::fromHex("0102030405")), QStringLiteral("<01020304 05>"));
    EXPECT_EQ(bytesDescription(QByteArray::fromHex("010203"), 2), QStringLiteral("<0102...>"));
}
