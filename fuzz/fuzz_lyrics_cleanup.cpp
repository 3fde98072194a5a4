// The lyrics clean-up over arbitrary text, with a substitution table like
// the shipped one (some entries grow the text, some shrink it).
#include "web/LyricsCleaner.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const QVariantMap table{{QStringLiteral("\r"), QString()},
                                   {QStringLiteral(". . ."), QStringLiteral("...")},
                                   {QStringLiteral("&quot;"), QStringLiteral("\"")},
                                   {QStringLiteral("x"), QStringLiteral("xy")}};
    const QString text =
        QString::fromUtf8(QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    const QString cleaned = LyricsCleaner::cleanUpLyrics(text, table);
    if (!cleaned.isNull() && cleaned.size() < LyricsCleaner::kMinResultLength)
        std::abort();
    return 0;
}
