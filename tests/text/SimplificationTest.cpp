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
