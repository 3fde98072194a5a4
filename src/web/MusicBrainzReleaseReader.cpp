#include "web/MusicBrainzReleaseReader.h"

#include "text/WMStringExtensions.h"
#include "web/URLTemplate.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QSet>
#include <QUrlQuery>

#include <algorithm>

namespace {

QString text(const QJsonObject& object, const char* key)
{
    return object.value(QLatin1String(key)).toString();
}

bool isDigit(QChar c)
{
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

} // namespace

QString MusicBrainzReleaseReader::quotedTerm(const QString& term)
{
    QString quoted;
    quoted.reserve(term.size() + 8);
    quoted += QLatin1Char('"');
    for (const QChar c : term) {
        if (c == QLatin1Char('"') || c == QLatin1Char('\\'))
            quoted += QLatin1Char('\\');
        quoted += c;
    }
    quoted += QLatin1Char('"');
    return quoted;
}

QString MusicBrainzReleaseReader::releaseQuery(const QString& album, const QString& artist)
{
    QString query = QStringLiteral("release:") + quotedTerm(album);
    if (!artist.isEmpty())
        query += QStringLiteral(" AND artist:") + quotedTerm(artist);
    return query;
}

QString MusicBrainzReleaseReader::recordingQuery(const QString& title, const QString& artist)
{
    return QStringLiteral("recording:") + quotedTerm(title) + QStringLiteral(" AND artist:") +
           quotedTerm(artist);
}

QUrl MusicBrainzReleaseReader::urlWithQuery(const QString& base, const QList<QPair<QString, QString>>& items)
{
    QUrl url(base, QUrl::StrictMode);
    if (!url.isValid() || url.isRelative())
        return QUrl();
    QUrlQuery query(url);
    for (const auto& item : items)
        query.addQueryItem(item.first, QString::fromLatin1(QUrl::toPercentEncoding(item.second)));
    url.setQuery(query);
    // Parsed once more from its encoded text, so that it equals the URL the
    // queue hands back with the answer.
    return QUrl(url.toString(QUrl::FullyEncoded));
}

std::optional<QJsonObject> MusicBrainzReleaseReader::jsonObject(const QByteArray& body, QString* reason)
{
    const auto fail = [reason](const QString& why) -> std::optional<QJsonObject> {
        if (reason)
            *reason = why;
        return std::nullopt;
    };
    if (body.isEmpty())
        return fail(QStringLiteral("empty answer"));
    if (body.size() > kMaxAnswerLength)
        return fail(QStringLiteral("answer of %1 bytes is too long").arg(body.size()));
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError)
        return fail(error.errorString());
    if (!document.isObject())
        return fail(QStringLiteral("answer is no JSON object"));
    return document.object();
}

int MusicBrainzReleaseReader::rankOfRelease(const QJsonObject& release)
{
    if (text(release, "status").compare(QLatin1String("Official"), Qt::CaseInsensitive) != 0)
        return 2;
    const QJsonObject group = release.value(QLatin1String("release-group")).toObject();
    const bool album = text(group, "primary-type").compare(QLatin1String("Album"), Qt::CaseInsensitive) == 0;
    const bool plain = group.value(QLatin1String("secondary-types")).toArray().isEmpty();
    return album && plain ? 0 : 1;
}

MusicBrainzReleaseReader::Candidate MusicBrainzReleaseReader::candidateOfRelease(const QJsonObject& release)
{
    Candidate candidate;
    candidate.releaseID = text(release, "id");
    candidate.releaseGroupID = text(release.value(QLatin1String("release-group")).toObject(), "id");
    candidate.title = text(release, "title");
    candidate.artist = artistCreditText(release.value(QLatin1String("artist-credit")));
    candidate.rank = rankOfRelease(release);
    return candidate;
}

QList<MusicBrainzReleaseReader::Candidate>
MusicBrainzReleaseReader::candidatesOfReleaseSearch(const QJsonObject& answer)
{
    QList<Candidate> candidates;
    const QJsonArray releases = answer.value(QLatin1String("releases")).toArray();
    const qsizetype count = std::min<qsizetype>(releases.size(), kMaxListEntries);
    for (qsizetype i = 0; i < count; ++i) {
        const QJsonObject release = releases.at(i).toObject();
        Candidate candidate = candidateOfRelease(release);
        if (isReleaseID(candidate.releaseID))
            candidates.append(candidate);
    }
    return candidates;
}

QList<MusicBrainzReleaseReader::Candidate>
MusicBrainzReleaseReader::candidatesOfRecordingSearch(const QJsonObject& answer)
{
    QList<Candidate> candidates;
    const QJsonArray recordings = answer.value(QLatin1String("recordings")).toArray();
    const qsizetype count = std::min<qsizetype>(recordings.size(), kMaxListEntries);
    for (qsizetype i = 0; i < count && candidates.size() < kMaxListEntries; ++i) {
        const QJsonObject recording = recordings.at(i).toObject();
        const QString title = text(recording, "title");
        const QString artist = artistCreditText(recording.value(QLatin1String("artist-credit")));
        const QJsonArray releases = recording.value(QLatin1String("releases")).toArray();
        const qsizetype releaseCount = std::min<qsizetype>(releases.size(), kMaxListEntries);
        for (qsizetype j = 0; j < releaseCount && candidates.size() < kMaxListEntries; ++j) {
            Candidate candidate = candidateOfRelease(releases.at(j).toObject());
            if (!isReleaseID(candidate.releaseID))
                continue;
            candidate.title = title;
            candidate.artist = artist;
            candidates.append(candidate);
        }
    }
    return candidates;
}

QStringList MusicBrainzReleaseReader::chosenReleaseIDs(const QList<Candidate>& candidates, int maximum)
{
    QList<Candidate> ordered = candidates;
    std::stable_sort(ordered.begin(), ordered.end(),
                     [](const Candidate& a, const Candidate& b) { return a.rank < b.rank; });
    QStringList chosen;
    QSet<QString> groups;
    // First one release of each group, then the others in the same order.
    for (int pass = 0; pass < 2; ++pass) {
        for (const Candidate& candidate : std::as_const(ordered)) {
            if (chosen.size() >= maximum)
                return chosen;
            if (chosen.contains(candidate.releaseID))
                continue;
            if (pass == 0 && !candidate.releaseGroupID.isEmpty()) {
                if (groups.contains(candidate.releaseGroupID))
                    continue;
                groups.insert(candidate.releaseGroupID);
            }
            chosen.append(candidate.releaseID);
        }
    }
    return chosen;
}

bool MusicBrainzReleaseReader::isReleaseID(const QString& id)
{
    if (id.size() != 36)
        return false;
    for (const QChar c : id) {
        const bool hex = isDigit(c) || (c >= QLatin1Char('a') && c <= QLatin1Char('f')) ||
                         (c >= QLatin1Char('A') && c <= QLatin1Char('F'));
        if (!hex && c != QLatin1Char('-'))
            return false;
    }
    return true;
}

QString MusicBrainzReleaseReader::artistCreditText(const QJsonValue& credits)
{
    const QJsonArray list = credits.toArray();
    const qsizetype count = std::min<qsizetype>(list.size(), kMaxListEntries);
    QString joined;
    for (qsizetype i = 0; i < count; ++i) {
        const QJsonObject credit = list.at(i).toObject();
        QString name = text(credit, "name");
        if (name.isEmpty())
            name = text(credit.value(QLatin1String("artist")).toObject(), "name");
        joined += name + text(credit, "joinphrase");
    }
    return joined.trimmed();
}

QString MusicBrainzReleaseReader::yearPrefix(const QString& date)
{
    if (date.size() < 4)
        return QString();
    for (qsizetype i = 0; i < 4; ++i) {
        if (!isDigit(date.at(i)))
            return QString();
    }
    return date.left(4);
}

QString MusicBrainzReleaseReader::yearOfRelease(const QJsonObject& release)
{
    const QJsonObject group = release.value(QLatin1String("release-group")).toObject();
    QString year = yearPrefix(text(group, "first-release-date"));
    if (year.isEmpty())
        year = yearPrefix(text(release, "date"));
    if (!year.isEmpty())
        return year;
    const QJsonArray events = release.value(QLatin1String("release-events")).toArray();
    const qsizetype count = std::min<qsizetype>(events.size(), kMaxListEntries);
    for (qsizetype i = 0; i < count; ++i) {
        const QString eventYear = yearPrefix(text(events.at(i).toObject(), "date"));
        if (!eventYear.isEmpty() && (year.isEmpty() || eventYear < year))
            year = eventYear;
    }
    return year;
}

QString MusicBrainzReleaseReader::genreOfRelease(const QJsonObject& release)
{
    QJsonArray genres = release.value(QLatin1String("genres")).toArray();
    if (genres.isEmpty())
        genres =
            release.value(QLatin1String("release-group")).toObject().value(QLatin1String("genres")).toArray();
    const qsizetype count = std::min<qsizetype>(genres.size(), kMaxListEntries);
    QString best;
    double bestVotes = -1.0;
    for (qsizetype i = 0; i < count; ++i) {
        const QJsonObject genre = genres.at(i).toObject();
        const QString name = text(genre, "name").trimmed();
        const double votes = genre.value(QLatin1String("count")).toDouble(0.0);
        if (!name.isEmpty() && votes > bestVotes) {
            best = name;
            bestVotes = votes;
        }
    }
    return best.isEmpty() ? QString() : WMStringExtensions::correctedCaseString(best);
}

QStringList MusicBrainzReleaseReader::trackNamesOfRelease(const QJsonObject& release)
{
    const QJsonArray media = release.value(QLatin1String("media")).toArray();
    QList<QJsonObject> ordered;
    const qsizetype mediaCount = std::min<qsizetype>(media.size(), kMaxMedia);
    for (qsizetype i = 0; i < mediaCount; ++i)
        ordered.append(media.at(i).toObject());
    const auto byPosition = [](const QJsonObject& a, const QJsonObject& b) {
        return a.value(QLatin1String("position")).toDouble(0.0) <
               b.value(QLatin1String("position")).toDouble(0.0);
    };
    std::stable_sort(ordered.begin(), ordered.end(), byPosition);

    QStringList names;
    for (const QJsonObject& medium : std::as_const(ordered)) {
        const QJsonArray trackArray = medium.value(QLatin1String("tracks")).toArray();
        QList<QJsonObject> tracks;
        const qsizetype trackCount = std::min<qsizetype>(trackArray.size(), kMaxTracks - names.size());
        for (qsizetype i = 0; i < trackCount; ++i)
            tracks.append(trackArray.at(i).toObject());
        std::stable_sort(tracks.begin(), tracks.end(), byPosition);
        for (const QJsonObject& track : std::as_const(tracks)) {
            QString name = text(track, "title").trimmed();
            if (name.isEmpty())
                name = text(track.value(QLatin1String("recording")).toObject(), "title").trimmed();
            if (!name.isEmpty())
                names.append(name);
        }
        if (names.size() >= kMaxTracks)
            break;
    }
    return names;
}

bool MusicBrainzReleaseReader::hasFrontCover(const QJsonObject& release)
{
    const QJsonValue archive = release.value(QLatin1String("cover-art-archive"));
    if (!archive.isObject())
        return true;
    const QJsonValue front = archive.toObject().value(QLatin1String("front"));
    return !front.isBool() || front.toBool();
}

int MusicBrainzReleaseReader::coverArtSize(float minWidth, float maxWidth, QList<int> sizes, int preferred)
{
    sizes.removeIf([](int size) { return size <= 0; });
    std::sort(sizes.begin(), sizes.end());
    if (sizes.isEmpty())
        return 0;
    if (minWidth <= 0.0f) {
        int size = preferred > 0 ? preferred : sizes.first();
        if (maxWidth > 0.0f && float(size) > maxWidth) {
            size = sizes.first();
            for (const int candidate : std::as_const(sizes)) {
                if (float(candidate) <= maxWidth)
                    size = candidate;
            }
        }
        return size;
    }
    for (const int size : std::as_const(sizes)) {
        if (float(size) >= minWidth)
            return size;
    }
    return 0;
}

QList<int> MusicBrainzReleaseReader::coverArtSizes(const QVariantMap& resources)
{
    QList<int> sizes;
    const QVariantList listed = resources.value(QStringLiteral("coverArtSizes")).toList();
    for (qsizetype i = 0; i < listed.size() && i < 16; ++i) {
        const int size = listed.at(i).toInt();
        if (size > 0)
            sizes.append(size);
    }
    if (sizes.isEmpty())
        sizes = {250, 500, 1200};
    return sizes;
}

QString MusicBrainzReleaseReader::coverArtURL(const QVariantMap& resources, const QString& releaseID,
                                              int width)
{
    if (!isReleaseID(releaseID))
        return QString();
    if (width > 0) {
        const QString format = resources.value(QStringLiteral("coverArtURL")).toString();
        return format.isEmpty() ? QString()
                                : URLTemplate::filled(format, {releaseID, QString::number(width)});
    }
    const QString format = resources.value(QStringLiteral("coverArtOriginalURL")).toString();
    return format.isEmpty() ? QString() : URLTemplate::filled(format, {releaseID});
}

std::optional<AlbumInfo> MusicBrainzReleaseReader::albumFromRelease(const QJsonObject& release,
                                                                    const QVariantMap& resources,
                                                                    float minImageWidth, float maxImageWidth,
                                                                    QString* reason)
{
    const auto fail = [reason](const QString& why) -> std::optional<AlbumInfo> {
        if (reason)
            *reason = why;
        return std::nullopt;
    };
    const QString name = text(release, "title").trimmed();
    if (name.isEmpty())
        return fail(QStringLiteral("release without title"));
    if (release.value(QLatin1String("media")).toArray().isEmpty())
        return fail(QStringLiteral("release without media"));
    const QStringList tracks = trackNamesOfRelease(release);
    if (tracks.isEmpty())
        return fail(QStringLiteral("release without tracks"));
    QString artist = artistCreditText(release.value(QLatin1String("artist-credit")));
    if (artist.isEmpty())
        artist = artistCreditText(
            release.value(QLatin1String("release-group")).toObject().value(QLatin1String("artist-credit")));
    if (artist.isEmpty())
        return fail(QStringLiteral("release without artist credit"));

    AlbumInfo album(artist, name);
    album.setTracks(tracks);
    album.setYear(yearOfRelease(release));
    album.setGenres(genreOfRelease(release));
    if (hasFrontCover(release)) {
        const int width = coverArtSize(minImageWidth, maxImageWidth, coverArtSizes(resources),
                                       resources.value(QStringLiteral("defaultCoverArtSize"), 500).toInt());
        album.setArtURLString(coverArtURL(resources, text(release, "id"), width));
    }
    return album;
}

std::optional<AlbumInfo> MusicBrainzReleaseReader::albumFromReleaseJSON(const QByteArray& body,
                                                                        const QVariantMap& resources,
                                                                        float minImageWidth,
                                                                        float maxImageWidth, QString* reason)
{
    const std::optional<QJsonObject> release = jsonObject(body, reason);
    if (!release)
        return std::nullopt;
    return albumFromRelease(*release, resources, minImageWidth, maxImageWidth, reason);
}
