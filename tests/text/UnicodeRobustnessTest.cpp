#include "text/PageExtractor.h"
#include "text/QueryEncoder.h"
#include "text/WMStringExtensions.h"
#include "text/WendmarkTextExtensions.h"

#include <gtest/gtest.h>

#include <random>

namespace {

// Awkward code units: lone and paired surrogates, combining marks,
// right-to-left text, zero-width characters, emoji, markup and controls.
QString awkwardString(std::mt19937& random, int maxLength)
{
    static const char16_t pool[] = {0xD800, 0xDC00, 0xD83D, 0xDE00, 0x0301, 0x0308, 0x05D0, 0x0627, 0x200F,
                                    0x200B, 0xFEFF, 0xFFFF, 0x0000, u'&',   u'#',   u';',   u'<',   u'>',
                                    u'(',   u')',   u' ',   u'a',   u'g',   u'h',   u'x',   u'%',   u'2',
                                    0x00E9, 0x0416, 0x6771, 0x0E01, u'\n',  u'\t',  u'9',   u'T',   0x2423};
    QString s;
    const int length = int(random() % unsigned(maxLength + 1));
    for (int i = 0; i < length; ++i)
        s.append(QChar(pool[random() % std::size(pool)]));
    return s;
}

} // namespace

TEST(TextUnicodeRobustness, NoOperationFailsOnAwkwardText)
{
    using namespace WendmarkTextExtensions;
    using namespace WMStringExtensions;
    setSimplifiersDictionary({{QStringLiteral("&"), QStringLiteral(" and ")},
                              {QString::fromUtf16(u"\u05D0"), QStringLiteral("a")}},
                             true);
    std::mt19937 random(2024);
    const QVariantMap description{{QStringLiteral("listBegin"), QStringLiteral("<")},
                                  {QStringLiteral("listEnd"), QStringLiteral(">>")},
                                  {QStringLiteral("entryBegin"), QStringLiteral("(")},
                                  {QStringLiteral("textBegin"), QStringLiteral("a")},
                                  {QStringLiteral("textEnd"), QStringLiteral(")")}};
    for (int round = 0; round < 300; ++round) {
        const QString s = awkwardString(random, 40);
        const QString t = awkwardString(random, 12);
        const QString key = simplified(s);
        EXPECT_TRUE(!key.isEmpty() || s.isEmpty());
        EXPECT_EQ(isSimpleEqualTo(s, s), !s.isNull());
        metaphone(s);
        metaphoneNoMinorWords(s);
        EXPECT_GE(levenshteinCompareWithWord(s, t), 0.0f);
        EXPECT_GE(threadedLevenshteinCompare(s, t, 1), 0.0f);
        plainASCIIString(s);
        precomposedWMString(s);
        containsString(s, t);
        capitalizedPhraseString(s);
        stringByReplacingAmpersandCodes(s);
        stringByInsertingAmpersandCodes(s);
        safelyEscapedString(s);
        correctedCaseString(s);
        normalizedString(s);
        stringFlowedFromHTML(s);
        stringWithStrippedParenthesizedText(s);
        EXPECT_EQ(bigEndianUnicodeData(s).size(), s.isEmpty() ? 0 : 2 + 2 * s.size());
        plistDateValue(s.left(20));
        const auto parsed = PageExtractor::parsedContentsOfHTML(s, description);
        EXPECT_EQ(parsed.has_value(), !s.isEmpty());
        QueryEncoder::stringForPost(s, round % 2 == 0, QStringLiteral("%20"));
    }
    setSimplifiersDictionary({}, false);
}
