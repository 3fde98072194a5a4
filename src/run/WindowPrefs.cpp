#include "run/WindowPrefs.h"

#include <QSettings>
#include <QStringList>

#include <array>

namespace {

struct AssetKey
{
    AlbumAsset asset;
    const char* suffix;
    const char* name;
};

constexpr std::array<AssetKey, 7> AssetKeys = {{
    {AlbumAsset::AlbumName, "Album", "album"},
    {AlbumAsset::SongTitle, "Title", "title"},
    {AlbumAsset::Artwork, "Artwork", "artwork"},
    {AlbumAsset::Genre, "Genre", "genre"},
    {AlbumAsset::Track, "Track", "track"},
    {AlbumAsset::Year, "Year", "year"},
    {AlbumAsset::Lyrics, "Lyrics", "lyrics"},
}};

QString key(const char* prefix, const char* suffix)
{
    return QLatin1String(prefix) + QLatin1String(suffix);
}

} // namespace

WindowPrefs WindowPrefs::readPrefs()
{
    WindowPrefs prefs;
    QSettings settings;
    if (settings.value(QStringLiteral("prefsVersion")).toInt() != CurrentPrefsVersion)
        return prefs;
    prefs.mCheck = {};
    for (const AssetKey& entry : AssetKeys) {
        if (settings.value(key("check", entry.suffix), true).toBool())
            prefs.mCheck |= entry.asset;
        if (settings.value(key("overwrite", entry.suffix), false).toBool())
            prefs.mOverwrite |= entry.asset;
    }
    prefs.mAlbumPickingMethod = settings.value(QStringLiteral("albumPickingMethod"), 0).toInt();
    prefs.mAllowSubstrings = settings.value(QStringLiteral("allowSubstrings"), 0).toInt();
    prefs.mParallelSearch = settings.value(QStringLiteral("parallelSearch"), 0).toInt();
    prefs.mSortColumn = settings.value(QStringLiteral("sortColumn")).toString();
    prefs.mSortReverse = settings.value(QStringLiteral("sortReverse"), false).toBool();
    prefs.mLyricsWindow = settings.value(QStringLiteral("lyricsWindow"), false).toBool();
    return prefs;
}

void WindowPrefs::writePrefs() const
{
    QSettings settings;
    settings.setValue(QStringLiteral("prefsVersion"), CurrentPrefsVersion);
    for (const AssetKey& entry : AssetKeys) {
        settings.setValue(key("check", entry.suffix), mCheck.testFlag(entry.asset));
        settings.setValue(key("overwrite", entry.suffix), mOverwrite.testFlag(entry.asset));
    }
    settings.setValue(QStringLiteral("albumPickingMethod"), mAlbumPickingMethod);
    settings.setValue(QStringLiteral("allowSubstrings"), mAllowSubstrings);
    settings.setValue(QStringLiteral("parallelSearch"), mParallelSearch);
    if (!mSortColumn.isEmpty()) {
        settings.setValue(QStringLiteral("sortColumn"), mSortColumn);
        settings.setValue(QStringLiteral("sortReverse"), mSortReverse);
    }
    settings.setValue(QStringLiteral("lyricsWindow"), mLyricsWindow);
    settings.sync();
}

void WindowPrefs::setSort(const QString& column, bool reverse)
{
    mSortColumn = column;
    mSortReverse = reverse;
}

std::optional<AlbumAssets> WindowPrefs::assetsFromNames(const QString& list)
{
    AlbumAssets assets;
    for (const QString& part : list.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QString name = part.trimmed().toLower();
        bool known = false;
        for (const AssetKey& entry : AssetKeys) {
            if (name == QLatin1String(entry.name)) {
                assets |= entry.asset;
                known = true;
            }
        }
        if (!known)
            return std::nullopt;
    }
    return assets;
}

QStringList WindowPrefs::assetNames()
{
    QStringList names;
    for (const AssetKey& entry : AssetKeys)
        names.append(QLatin1String(entry.name));
    return names;
}

QString WindowPrefs::namesOfAssets(AlbumAssets assets)
{
    QStringList names;
    for (const AssetKey& entry : AssetKeys) {
        if (assets.testFlag(entry.asset))
            names.append(QLatin1String(entry.name));
    }
    return names.join(QLatin1Char(','));
}
