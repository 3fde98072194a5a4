#include "TestSupport.h"

#include "text/LatinFolding.h"
#include "text/WendmarkTextExtensions.h"

#include <QVariantMap>

#include <gtest/gtest.h>

#include <random>
#include <thread>
#include <vector>

using namespace WendmarkTextExtensions;

namespace {

// Every test starts and ends with an empty simplifier table.
class Simplification : public ::testing::Test
{
protected:
    void SetUp() override { setSimplifiersDictionary({}, false); }
    void TearDown() override { setSimplifiersDictionary({}, false); }
};

} // namespace

TEST_F(Simplification, StringWithoutWordsRemovesWholeWordsWithoutOverlap)
{
    const QStringList words{QStringLiteral("a"), QStringLiteral("the")};
    // Adjacent words share a blank: one pattern pass keeps the second.
    expectEach([&](const QString& s) { return stringWithoutWords(s, words); },
               {{u"The Man and THE Sea", u"Man and Sea"},
                {u"x a a y", u"x a y"},
                {u"Theatre athe", u"Theatre athe"},
                {u"  the  ", nullptr}});
    // A different list afterwards must not reuse the old patterns.
    EXPECT_EQ(stringWithoutWords(QStringLiteral("x of y a"), {QStringLiteral("of")}),
              QStringLiteral("x y a"));
    EXPECT_EQ(stringWithoutWords(QStringLiteral("x of y a"), words), QStringLiteral("x of y"));
}

TEST_F(Simplification, StringWithoutWordsAgreesWithCaseInsensitiveReplace)
{
    // The hand-written matcher must find what QString's own case-insensitive
    // search finds, including letters that fold to ASCII (long s, Kelvin).
    std::mt19937 random(5);
    const char16_t pool[] = {u' ', u' ', u'a', u'A', u'n',   u'd',   u'o',   u'f',   u't',
                             u'h', u'E', u'i', u's', 0x017F, 0x212A, 0x00E9, 0xD83D, u'x'};
    for (int round = 0; round < 2000; ++round) {
        QString s;
        for (int i = 0, n = int(random() % 16); i < n; ++i)
            s.append(QChar(pool[random() % std::size(pool)]));
        QString reference = QLatin1Char(' ') + s + QLatin1Char(' ');
        for (const QString& word : minorWords())
            reference.replace(QLatin1Char(' ') + word + QLatin1Char(' '), QStringLiteral(" "),
                              Qt::CaseInsensitive);
        ASSERT_EQ(stringWithoutWords(s, minorWords()), reference.trimmed()) << s.toStdString();
    }
}

TEST_F(Simplification, SimplifiedWithoutTable)
{
    // When nothing survives: the receiver in lower case, untouched otherwise.
    expectEach(simplified, {{u"The Best of Both Worlds", u"bestbothworlds"},
                            {u"!!!", u"!!!"},
                            {u"The", u"the"},
                            {u"A-ha: Take On Me (1985)", u"ahatakeonme1985"},
                            {u"Motörhead – Ace of Spades", u"motorheadacespades"},
                            {u"Кино", u"kino"},
                            {nullptr, nullptr},
                            {u"", u""},
                            {u"¿¡…!", u"¿¡…!"},
                            {u"THE A", u"the a"}});
    const std::tuple<const char16_t*, const char16_t*, bool> pairs[] = {
        {u"Beatles, The", u"the beatles", true},
        {u"Björk", u"BJORK", true},
        {u"", u"", true},
        {u"", nullptr, false},
        {u"Abbey Road", nullptr, false},
        {u"Abbey Road", u"Abbey Roads", false}};
    for (const auto& [a, b, equal] : pairs)
        EXPECT_EQ(isSimpleEqualTo(str(a), str(b)), equal) << str(a).toStdString();
}

TEST_F(Simplification, TableAppliesLongestKeyFirstIgnoringCase)
{
    setSimplifiersDictionary(
        {{QStringLiteral("ab"), QStringLiteral("X")}, {QStringLiteral("abc"), QStringLiteral("Y")}}, false);
    EXPECT_EQ(simplified(QStringLiteral("ABCD")), QStringLiteral("yd"));
    EXPECT_EQ(simplified(QStringLiteral("abd")), QStringLiteral("xd"));
    // Equal lengths: the dictionary's key order decides.
    setSimplifiersDictionary(
        {{QStringLiteral("bc"), QStringLiteral("2")}, {QStringLiteral("ab"), QStringLiteral("1")}}, false);
    EXPECT_EQ(simplified(QStringLiteral("abc")), QStringLiteral("1c"));
}

TEST_F(Simplification, TableAnchorsOnBlankPaddedAsciiText)
{
    setSimplifiersDictionary({{QStringLiteral(" ii "), QStringLiteral(" 2 ")},
                              {QStringLiteral(" & "), QStringLiteral(" ")},
                              {QStringLiteral("AE"), QStringLiteral("e")}},
                             false);
    EXPECT_EQ(simplified(QStringLiteral("Rocky II")), QStringLiteral("rocky2"));
    EXPECT_EQ(simplified(QStringLiteral("II Rocky")), QStringLiteral("2rocky"));
    EXPECT_EQ(simplified(QStringLiteral("Hawaii")), QStringLiteral("hawaii"));
    EXPECT_TRUE(isSimpleEqualTo(QStringLiteral("Simon & Garfunkel"), QStringLiteral("Simon and Garfunkel")));
    // Transliteration happens before the table is applied.
    EXPECT_EQ(simplified(str(u"Æther")), QStringLiteral("ether"));
}

TEST_F(Simplification, TrailingSFlag)
{
    setSimplifiersDictionary({}, true);
    EXPECT_EQ(simplified(QStringLiteral("Beatles Songs")), QStringLiteral("beatlesong"));
    EXPECT_TRUE(isSimpleEqualTo(QStringLiteral("Love Song"), QStringLiteral("Love Songs")));
    // Without the flag an "s " entry of the table itself is dropped too.
    setSimplifiersDictionary({{QStringLiteral("s "), QStringLiteral(" ")}}, false);
    EXPECT_EQ(simplified(QStringLiteral("Beatles Songs")), QStringLiteral("beatlessongs"));
}

TEST_F(Simplification, ConcurrentUseWhileTheTableChanges)
{
    const QStringList names{str(u"Sigur Rós"), str(u"Мумий Тролль"), QStringLiteral("The Who"),
                            str(u"Beyoncé"), str(u"東京事変")};
    std::vector<QString> expected;
    for (const QString& name : names)
        expected.push_back(simplified(name));
    std::vector<std::thread> threads;
    std::vector<int> mismatches(4, 0);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < 50; ++round) {
                for (qsizetype i = 0; i < names.size(); ++i) {
                    if (simplified(names.at(i)) != expected[size_t(i)])
                        ++mismatches[size_t(t)];
                }
            }
        });
    }
    // Installing an identical (empty) table never changes a result.
    for (int round = 0; round < 50; ++round)
        setSimplifiersDictionary({}, false);
    for (std::thread& thread : threads)
        thread.join();
    for (int count : mismatches)
        EXPECT_EQ(count, 0);
}

TEST(PlainASCII, TableAgreesWithTheTransliterator)
{
    // Mixed Latin text, marks and punctuation, one character at a time and
    // in random runs: the table gives the transliterator's own answer.
    std::mt19937 random(77);
    const char16_t starts[] = {0x0080, 0x0100, 0x0180, 0x0300, 0x1E00, 0x1EA0, 0x2000, 0x2010};
    int covered = 0;
    for (char16_t c = 0x80; c < 0x250; ++c) {
        const QChar ch(c);
        const auto byTable = LatinFolding::transliteratedByTable(QStringView(&ch, 1));
        if (byTable) {
            ++covered;
            EXPECT_EQ(*byTable, LatinFolding::transliterated(QStringView(&ch, 1))) << int(c);
        }
    }
    EXPECT_GT(covered, 300);
    for (int round = 0; round < 500; ++round) {
        QString text;
        for (int i = 0, n = int(random() % 12) + 1; i < n; ++i) {
            const unsigned pick = random() % 4;
            if (pick == 0)
                text.append(QLatin1Char("aZ 9'-"[random() % 6]));
            else
                text.append(QChar(char16_t(starts[random() % std::size(starts)] + random() % 0x50)));
        }
        const auto byTable = LatinFolding::transliteratedByTable(text);
        if (byTable) {
            ++covered;
            EXPECT_EQ(*byTable, LatinFolding::transliterated(text)) << text.toStdString();
        }
    }
    EXPECT_GT(covered, 400);
    // Other scripts always go through the transliterator.
    EXPECT_FALSE(LatinFolding::transliteratedByTable(u"Кино").has_value());
}

TEST(TextHelpers, ContainsComposeCaseAndInvisibleCharacters)
{
    EXPECT_TRUE(containsString(QStringLiteral("Hello World"), QStringLiteral("WORLD")));
    EXPECT_FALSE(containsString(QStringLiteral("Hello World"), QStringLiteral("Worlds")));
    EXPECT_FALSE(containsString(QStringLiteral("Hello"), QString()));
    EXPECT_FALSE(containsString(QStringLiteral("Hello"), QStringLiteral("")));
    expectEach(precomposedWMString, {{u"e\u0301", u"\u00e9"}, {u"plain", u"plain"}});
    expectEach(capitalizedPhraseString, {{u"hELLO wORLD", u"Hello world"}, {u"a", u"a"}, {nullptr, nullptr}});
    expectEach(stringWithVisibleZeroWidthCharacters, {{u"a\u200Cb\u200D\uFEFF", u"a\u2423b\u2423\u2423"}});
    EXPECT_TRUE(containsZeroWidthCharacter(str(u"a\u200Bb")));
    EXPECT_TRUE(containsZeroWidthCharacter(str(u"\uFEFFab")));
    EXPECT_FALSE(containsZeroWidthCharacter(QStringLiteral("ab")));
    EXPECT_TRUE(containsRedundantWhitespace(QStringLiteral("a  b")));
    EXPECT_FALSE(containsRedundantWhitespace(QStringLiteral("a b\t c")));
}

TEST(TextHelpers, PlistDateValue)
{
    // Separators are not checked, hour 24 is accepted.
    const std::pair<const char16_t*, QDateTime> rows[] = {
        {u"2004-03-15T12:34:56Z", QDateTime(QDate(2004, 3, 15), QTime(12, 34, 56), Qt::UTC)},
        {u"2004/03/15 12.34.56Z", QDateTime(QDate(2004, 3, 15), QTime(12, 34, 56), Qt::UTC)},
        {u"2004-03-15T24:00:00Z", QDateTime(QDate(2004, 3, 16), QTime(0, 0), Qt::UTC)},
        {u"2004-03-15T12:34:56", {}},
        {u"2004-13-15T12:34:56Z", {}},
        {u"2004-03-00T12:34:56Z", {}},
        {u"0000-03-15T12:34:56Z", {}},
        {u"2004-03-15T12:60:56Z", {}},
        {u"2004-03-15T25:00:00Z", {}},
        {u"xxxx-03-15T12:34:56Z", {}}};
    for (const auto& [text, date] : rows) {
        const std::optional<QDateTime> expected = date.isValid() ? std::optional(date) : std::nullopt;
        EXPECT_EQ(plistDateValue(str(text)), expected) << str(text).toStdString();
    }
}
