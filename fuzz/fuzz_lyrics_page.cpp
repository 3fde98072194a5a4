// A lyrics page and the markers that cut it both come from the input: the
// first byte picks the text encoding, then four pieces separated by 0x01
// bytes are the lyrics markers and an advertising pair; the rest is the
// page. The page also goes through the candidate tests of a song list.
#include "text/PageExtractor.h"
#include "web/LyricsCandidateMatcher.h"
#include "web/LyricsCleaner.h"
#include "web/LyricsPageText.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const int encoding = data[0] % 32;
    const QByteArray bytes(reinterpret_cast<const char*>(data + 1), static_cast<qsizetype>(size - 1));
    const QList<QByteArray> parts = bytes.split('\x01');
    if (parts.size() < 5)
        return 0;
    const QString begin = QString::fromLatin1(parts.at(0));
    const QString end = QString::fromLatin1(parts.at(1));
    const QStringList adBegins{QString::fromLatin1(parts.at(2))};
    const QStringList adEnds{QString::fromLatin1(parts.at(3))};
    const QByteArray page =
        bytes.mid(parts.at(0).size() + parts.at(1).size() + parts.at(2).size() + parts.at(3).size() + 4);

    const auto fragment = LyricsPageText::bytesBetweenMarkers(page, begin, end);
    if (fragment) {
        if (fragment->size() > page.size())
            std::abort();
        const QString lyrics = LyricsPageText::lyricsFromFragment(*fragment, encoding, adBegins, adEnds);
        if (!lyrics.isNull() && lyrics.size() < LyricsCleaner::kMinResultLength)
            std::abort();
    }
    LyricsPageText::strictlyDecodedText(page, encoding);

    const QString html = LyricsPageText::decodedText(page, encoding);
    const QVariantMap description{{QStringLiteral("listBegin"), QStringLiteral("<ul")},
                                  {QStringLiteral("listEnd"), QStringLiteral("</ul>")},
                                  {QStringLiteral("entryBegin"), QStringLiteral("<li")},
                                  {QStringLiteral("textBegin"), QStringLiteral("<a")},
                                  {QStringLiteral("textEnd"), QStringLiteral("</a>")}};
    if (const auto rows = PageExtractor::parsedContentsOfHTML(html, description)) {
        const QList<QUrl> links =
            LyricsCandidateMatcher::matchingLinks(*rows, {QStringLiteral("artist")}, QStringLiteral("title"),
                                                  encoding % 2 == 0, QStringLiteral("http://example.invalid"),
                                                  encoding % 3 == 0 ? QStringLiteral(" - ") : QString(), 5);
        if (links.size() > 5)
            std::abort();
    }
    return 0;
}
