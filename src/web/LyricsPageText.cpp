#include "LyricsPageText.h"

#include "support/WMLog.h"
#include "text/WMStringExtensions.h"
#include "text/WendmarkTextExtensions.h"
#include "web/LyricsCleaner.h"
#include "web/WMHTTPQueue.h"

#include <QByteArrayMatcher>
#include <QStringDecoder>

#include <unicode/ucnv.h>

#include <memory>

namespace {

// ICU converter names of the single- and multi-byte encodings Qt does not
// decode itself.
const char* icuNameForEncoding(int encoding)
{
    switch (encoding) {
    case 3:
        return "EUC-JP";
    case 8:
        return "Shift_JIS";
    case 9:
        return "ISO-8859-2";
    case 11:
        return "windows-1251";
    case 12:
        return "windows-1252";
    case 13:
        return "windows-1253";
    case 14:
        return "windows-1254";
    case 15:
        return "windows-1250";
    case 21:
        return "ISO-2022-JP";
    case 30:
        return "macintosh";
    default:
        return nullptr;
    }
}

std::optional<QString> icuDecoded(const QByteArray& bytes, const char* name)
{
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UConverter, void (*)(UConverter*)> converter(ucnv_open(name, &status), ucnv_close);
    if (U_FAILURE(status) || !converter)
        return std::nullopt;
    if (bytes.isEmpty())
        return QString(QLatin1String(""));
    // Every byte gives at most two UTF-16 units in these encodings.
    QString result(bytes.size() * 2 + 1, Qt::Uninitialized);
    const int32_t length = ucnv_toUChars(converter.get(), reinterpret_cast<UChar*>(result.data()),
                                         static_cast<int32_t>(result.size()), bytes.constData(),
                                         static_cast<int32_t>(bytes.size()), &status);
    if (U_FAILURE(status))
        return std::nullopt;
    result.truncate(length);
    return result;
}

qsizetype indexIgnoringCase(const QByteArray& haystack, const QByteArray& needle, qsizetype from)
{
    // Markers are compared on the Latin-1 reading of the page, where every
    // byte is one character, so character positions are byte positions.
    return QLatin1StringView(haystack).indexOf(QLatin1StringView(needle), from, Qt::CaseInsensitive);
}

} // namespace

std::optional<QByteArray> LyricsPageText::usablePage(const QVariantMap& answer)
{
    const QByteArray body = answer.value(QStringLiteral("WMHTTPDataKey")).toByteArray();
    if (body.size() > kMinPageBytes)
        return body;
    WMHTTPQueue::queue()->removeURLFromCache(answer.value(QStringLiteral("WMHTTPURLKey")).toUrl());
    return std::nullopt;
}

QByteArray LyricsPageText::cappedPage(const QByteArray& body)
{
    return body.size() > kMaxPageBytes ? body.left(kMaxPageBytes) : body;
}

std::optional<QString> LyricsPageText::strictlyDecodedText(const QByteArray& bytes, int encoding)
{
    if (bytes.size() > kMaxPageBytes)
        return std::nullopt;
    if (encoding == 4 || encoding == 10) {
        QStringDecoder decoder(encoding == 4 ? QStringDecoder::Utf8 : QStringDecoder::Utf16,
                               QStringDecoder::Flag::Stateless);
        QString text = decoder.decode(bytes);
        if (decoder.hasError())
            return std::nullopt;
        return text;
    }
    if (const char* name = icuNameForEncoding(encoding))
        return icuDecoded(bytes, name);
    return QString::fromLatin1(bytes);
}

QString LyricsPageText::decodedText(const QByteArray& bytes, int encoding)
{
    const QByteArray capped = cappedPage(bytes);
    if (encoding == 4)
        return QString::fromUtf8(capped);
    if (encoding == 10) {
        QStringDecoder decoder(QStringDecoder::Utf16);
        return decoder.decode(capped);
    }
    if (const char* name = icuNameForEncoding(encoding)) {
        if (std::optional<QString> text = icuDecoded(capped, name))
            return *text;
    }
    return QString::fromLatin1(capped);
}

std::optional<QByteArray> LyricsPageText::bytesBetweenMarkers(const QByteArray& page, const QString& begin,
                                                              const QString& end)
{
    if (begin.isEmpty() || end.isEmpty())
        return std::nullopt;
    const QByteArray beginBytes = begin.toLatin1();
    const QByteArray endBytes = end.toLatin1();
    const qsizetype found = indexIgnoringCase(page, beginBytes, 0);
    if (found < 0)
        return std::nullopt;
    qsizetype start = found + beginBytes.size();
    if (beginBytes.startsWith('<') && !beginBytes.contains('>')) {
        const qsizetype close = page.indexOf('>', start);
        if (close < 0)
            return std::nullopt;
        start = close + 1;
    }
    const qsizetype stop = indexIgnoringCase(page, endBytes, start);
    if (stop < 0)
        return std::nullopt;
    return page.mid(start, stop - start);
}

QStringList LyricsPageText::stringList(const QVariant& value)
{
    if (value.typeId() == QMetaType::QString)
        return value.toString().isEmpty() ? QStringList() : QStringList{value.toString()};
    QStringList list;
    if (value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QStringList) {
        for (const QVariant& item : value.toList())
            list.append(item.toString());
    }
    return list;
}

QString LyricsPageText::removingRuns(const QString& text, const QStringList& begins, const QStringList& ends)
{
    QString result = text;
    const qsizetype pairs = std::min(begins.size(), ends.size());
    for (qsizetype p = 0; p < pairs; ++p) {
        const QString& begin = begins.at(p);
        const QString& end = ends.at(p);
        if (begin.isEmpty() || end.isEmpty())
            continue;
        QString kept;
        kept.reserve(result.size());
        qsizetype from = 0;
        while (from < result.size()) {
            const qsizetype start = result.indexOf(begin, from, Qt::CaseInsensitive);
            const qsizetype stop =
                start < 0 ? -1 : result.indexOf(end, start + begin.size(), Qt::CaseInsensitive);
            if (stop < 0)
                break;
            kept.append(QStringView(result).mid(from, start - from));
            from = stop + end.size();
        }
        kept.append(QStringView(result).mid(from));
        result = kept;
    }
    return result;
}

QString LyricsPageText::plainTextFromHTML(const QString& html)
{
    auto isBreakTag = [](QStringView tag) {
        // tag is the text between "<" and ">"
        if (tag.startsWith(QLatin1Char('/')))
            tag = tag.mid(1);
        qsizetype nameLength = 0;
        while (nameLength < tag.size() && tag.at(nameLength).isLetter())
            ++nameLength;
        const QStringView name = tag.left(nameLength);
        return name.compare(QLatin1String("br"), Qt::CaseInsensitive) == 0 ||
               name.compare(QLatin1String("p"), Qt::CaseInsensitive) == 0;
    };
    QString kept;
    kept.reserve(html.size());
    qsizetype at = 0;
    while (at < html.size()) {
        const qsizetype open = html.indexOf(QLatin1Char('<'), at);
        if (open < 0) {
            kept.append(QStringView(html).mid(at));
            break;
        }
        const qsizetype close = html.indexOf(QLatin1Char('>'), open + 1);
        if (close < 0) {
            kept.append(QStringView(html).mid(at));
            break;
        }
        kept.append(QStringView(html).mid(at, open - at));
        const QStringView tag = QStringView(html).mid(open + 1, close - open - 1);
        if (isBreakTag(tag)) {
            // Written in the plain form flowing knows.
            const bool paragraph = tag.startsWith(QLatin1Char('p'), Qt::CaseInsensitive) ||
                                   tag.startsWith(QLatin1String("/p"), Qt::CaseInsensitive);
            kept.append(paragraph ? QLatin1String("<p>") : QLatin1String("<br>"));
        } else {
            kept.append(QLatin1Char(' '));
        }
        at = close + 1;
    }
    return WMStringExtensions::stringFlowedFromHTML(kept);
}

QString LyricsPageText::lyricsFromFragment(const QByteArray& fragment, int encoding,
                                           const QStringList& adBegins, const QStringList& adEnds)
{
    QString html = decodedText(fragment, encoding);
    if (!adBegins.isEmpty())
        html = removingRuns(html, adBegins, adEnds);
    return LyricsCleaner::cleanUpLyrics(plainTextFromHTML(html));
}

AlbumInfo LyricsPageText::lyricsAlbum(const QString& artist, const QString& albumTitle,
                                      const QString& songTitle, const QString& lyrics,
                                      const QString& sourceName)
{
    AlbumInfo album(artist, albumTitle);
    album.setSourceInterfaceName(sourceName);
    album.lyrics().insert(WendmarkTextExtensions::simplified(songTitle), lyrics);
    return album;
}
