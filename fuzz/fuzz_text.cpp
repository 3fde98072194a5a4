// Arbitrary text, read both as UTF-8 and as raw UTF-16 (lone surrogates
// included), through the matching and HTML helpers.
#include "text/WMStringExtensions.h"
#include "text/WendmarkTextExtensions.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <cstdlib>

namespace {

void exercise(const QString& text)
{
    using namespace WendmarkTextExtensions;
    using namespace WMStringExtensions;
    const QString key = simplified(text);
    if (!text.isEmpty() && key.isEmpty())
        std::abort();
    metaphone(text);
    metaphoneNoMinorWords(text);
    plainASCIIString(text);
    const QString decoded = stringByReplacingAmpersandCodes(text);
    if (decoded.size() > text.size())
        std::abort();
    stringFlowedFromHTML(text);
    stringByInsertingAmpersandCodes(text);
    safelyEscapedString(text);
    correctedCaseString(text);
    normalizedString(text);
    stringWithStrippedParenthesizedText(text);
    const qsizetype half = text.size() / 2;
    const QString a = text.left(half);
    const QString b = text.mid(half);
    const float distance = levenshteinCompareWithWord(a, b);
    if (distance < 0 || distance > float(std::max(a.size(), b.size())))
        std::abort();
    threadedLevenshteinCompare(a, b, 0.05f);
    plistDateValue(text.left(20));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 8192)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    exercise(QString::fromUtf8(bytes));
    exercise(QString(reinterpret_cast<const QChar*>(bytes.constData()), bytes.size() / 2));
    return 0;
}
