#include "web/AlbumChooser.h"

#include "support/LocalizedStrings.h"
#include "text/WendmarkTextExtensions.h"

using WendmarkTextExtensions::simplified;

void AlbumChooser::eliminateAlbumsWithoutDesiredName(QList<AlbumInfo>& albums, const QString& songAlbum,
                                                     bool allowSubstrings)
{
    const QString wanted = simplified(songAlbum);
    if (wanted.isEmpty())
        return;

    QList<QString> names;
    names.reserve(albums.size());
    for (const AlbumInfo& album : albums)
        names.append(simplified(album.name()));

    auto removeWhere = [&](auto&& drop) {
        for (qsizetype i = albums.size() - 1; i >= 0; --i) {
            if (drop(names[i])) {
                albums.removeAt(i);
                names.removeAt(i);
            }
        }
    };

    if (names.contains(wanted)) {
        removeWhere([&](const QString& name) { return name != wanted; });
        return;
    }
    if (!allowSubstrings)
        return;
    auto related = [&](const QString& name) {
        return !name.isEmpty() && (name.contains(wanted) || wanted.contains(name));
    };
    if (std::any_of(names.cbegin(), names.cend(), related))
        removeWhere([&](const QString& name) { return !related(name); });
}

std::optional<AlbumInfo> AlbumChooser::chooseAlbum(const QList<AlbumInfo>& albums, Method method,
                                                   const QString& artist, const QString& title,
                                                   QString* errorMessage)
{
    if (albums.isEmpty())
        return std::nullopt;
    if (albums.size() == 1)
        return albums.first();

    if (method == Method::EarliestYear) {
        int earliest = 2040;
        for (const AlbumInfo& album : albums) {
            if (album.year().size() != 4)
                continue;
            const int year = album.year().toInt();
            if (year >= 1701 && year < earliest)
                earliest = year;
        }
        const AlbumInfo* best = nullptr;
        for (const AlbumInfo& album : albums) {
            if (album.year().size() != 4 || album.year().toInt() != earliest)
                continue;
            if (!best || album.trackNames().size() > best->trackNames().size())
                best = &album;
        }
        if (best)
            return *best;
        if (errorMessage) {
            QStringList names;
            int named = 0;
            for (const AlbumInfo& album : albums) {
                if (album.name().isEmpty())
                    continue;
                ++named;
                names.append(QLatin1Char('\'') + album.name() + QLatin1Char('\''));
            }
            *errorMessage = LocalizedStrings::format(QStringLiteral("ErrorNoYear"), named, artist, title,
                                                     names.join(QStringLiteral(", ")));
        }
        return std::nullopt;
    }

    if (method == Method::MostDuplicates) {
        const AlbumInfo* best = &albums.first();
        for (const AlbumInfo& album : albums) {
            if (album.duplicates() > best->duplicates())
                best = &album;
        }
        return *best;
    }
    return std::nullopt;
}

QVariantMap AlbumChooser::pooledLyrics(const QList<AlbumInfo>& albums)
{
    QVariantMap pooled;
    for (qsizetype i = albums.size() - 1; i >= 0; --i) {
        const QVariantMap& lyrics = albums[i].lyrics();
        for (auto it = lyrics.cbegin(); it != lyrics.cend(); ++it) {
            const QString text = it.value().toString();
            if (!pooled.contains(it.key()) || text.size() > pooled.value(it.key()).toString().size())
                pooled.insert(it.key(), text);
        }
    }
    return pooled;
}

AlbumChooser::Method AlbumChooser::methodForPickingPreference(int row)
{
    return row == 1 ? Method::MostDuplicates : Method::EarliestYear;
}
