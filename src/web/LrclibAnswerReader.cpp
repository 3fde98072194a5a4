#include "web/LrclibAnswerReader.h"

#include "text/WendmarkTextExtensions.h"
#include "web/LyricsCandidateMatcher.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QJsonValue>

#include <algorithm>
#include <cmath>

namespace {

QJsonDocument parsed(const QByteArray& body)
{
    if (body.isEmpty() || body.size() > LrclibAnswerReader::kMaxAnswerLength)
        return QJsonDocument();
    QJsonParseError error;
    QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError)
        return QJsonDocument();
    return document;
}

// "[12:34.56]" and the like: a bracketed tag that begins with a digit.
bool isTimeTag(QStringView tag)
{
    return tag.size() > 2 && tag.at(1).isDigit();
}

} // namespace

std::optional<LrclibAnswerReader::Record> LrclibAnswerReader::recordFromObject(const QJsonObject& object)
{
    Record record;
    record.trackName = object.value(QLatin1String("trackName")).toString();
    if (record.trackName.trimmed().isEmpty())
        return std::nullopt;
    record.artistName = object.value(QLatin1String("artistName")).toString();
    record.albumName = object.value(QLatin1String("albumName")).toString();
    const QJsonValue duration = object.value(QLatin1String("duration"));
    if (duration.isDouble() && std::isfinite(duration.toDouble()) && duration.toDouble() >= 0.0)
        record.duration = duration.toDouble();
    record.instrumental = object.value(QLatin1String("instrumental")).toBool(false);
    record.plainLyrics = object.value(QLatin1String("plainLyrics")).toString();
    record.syncedLyrics = object.value(QLatin1String("syncedLyrics")).toString();
    return record;
}

std::optional<LrclibAnswerReader::Record> LrclibAnswerReader::recordOfGetAnswer(const QByteArray& body)
{
    const QJsonDocument document = parsed(body);
    if (!document.isObject())
        return std::nullopt;
    return recordFromObject(document.object());
}

QList<LrclibAnswerReader::Record> LrclibAnswerReader::recordsOfSearchAnswer(const QByteArray& body)
{
    QList<Record> records;
    const QJsonDocument document = parsed(body);
    if (!document.isArray())
        return records;
    const QJsonArray entries = document.array();
    const qsizetype count = std::min<qsizetype>(entries.size(), kMaxSearchResults);
    for (qsizetype i = 0; i < count; ++i) {
        if (auto record = recordFromObject(entries.at(i).toObject()))
            records.append(*record);
    }
    return records;
}

QString LrclibAnswerReader::plainTextFromSynced(const QString& synced)
{
    QStringList lines;
    const QStringList rawLines = synced.split(QLatin1Char('\n'));
    for (const QString& rawLine : rawLines) {
        QStringView line = QStringView(rawLine).trimmed();
        bool timed = false;
        bool taggedOnly = false;
        while (line.startsWith(QLatin1Char('['))) {
            const qsizetype close = line.indexOf(QLatin1Char(']'));
            if (close < 0)
                break;
            if (!isTimeTag(line.left(close + 1))) {
                taggedOnly = !timed;
                break;
            }
            timed = true;
            line = line.mid(close + 1).trimmed();
        }
        if (taggedOnly)
            continue;
        lines.append(line.toString());
    }
    return lines.join(QLatin1Char('\n'));
}

QString LrclibAnswerReader::lyricsText(const Record& record)
{
    if (record.instrumental)
        return QString();
    if (!record.plainLyrics.trimmed().isEmpty())
        return record.plainLyrics;
    if (!record.syncedLyrics.trimmed().isEmpty())
        return plainTextFromSynced(record.syncedLyrics);
    return QString();
}

bool LrclibAnswerReader::durationFits(const Record& record, const Wanted& wanted)
{
    if (wanted.duration <= 0.0 || record.duration < 0.0)
        return true;
    return std::fabs(record.duration - wanted.duration) <= wanted.maxDurationDifference;
}

bool LrclibAnswerReader::recordFits(const Record& record, const Wanted& wanted)
{
    const QString artist = WendmarkTextExtensions::simplified(record.artistName);
    const QString title = WendmarkTextExtensions::simplified(record.trackName);
    return LyricsCandidateMatcher::matchesAny(artist, wanted.artists, wanted.allowSubstrings) &&
           LyricsCandidateMatcher::namesMatch(title, wanted.title, wanted.allowSubstrings) &&
           durationFits(record, wanted);
}

QList<qsizetype> LrclibAnswerReader::rankedCandidates(const QList<Record>& records, const Wanted& wanted)
{
    struct Ranked
    {
        qsizetype index;
        int titleRank;
        int albumRank;
        double distance;
    };
    QList<Ranked> ranked;
    for (qsizetype i = 0; i < records.size(); ++i) {
        const Record& record = records.at(i);
        if (record.instrumental || lyricsText(record).trimmed().isEmpty() || !recordFits(record, wanted))
            continue;
        const bool sameTitle = WendmarkTextExtensions::simplified(record.trackName) == wanted.title;
        const bool sameAlbum =
            !wanted.album.isEmpty() && WendmarkTextExtensions::simplified(record.albumName) == wanted.album;
        const double distance = wanted.duration > 0.0 && record.duration >= 0.0
                                    ? std::fabs(record.duration - wanted.duration)
                                    : 0.0;
        ranked.append({i, sameTitle ? 0 : 1, sameAlbum ? 0 : 1, distance});
    }
    std::stable_sort(ranked.begin(), ranked.end(), [](const Ranked& a, const Ranked& b) {
        if (a.titleRank != b.titleRank)
            return a.titleRank < b.titleRank;
        if (a.albumRank != b.albumRank)
            return a.albumRank < b.albumRank;
        return a.distance < b.distance;
    });
    QList<qsizetype> indices;
    for (const Ranked& entry : std::as_const(ranked))
        indices.append(entry.index);
    return indices;
}
