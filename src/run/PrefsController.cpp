#include "PrefsController.h"

#include "library/LiveResources.h"
#include "library/iTunesInterface.h"
#include "support/WMLog.h"
#include "tags/MP3InfoTag.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

#include <algorithm>

PrefsController& PrefsController::sharedInstance()
{
    static PrefsController instance;
    return instance;
}

QString PrefsController::cachedResourcesPath()
{
    return LiveResources::cachedPath();
}

QVariantMap PrefsController::mergedResources(const QVariantMap& base, const QVariantMap& overlay)
{
    return LiveResources::merged(base, overlay);
}

QVariantMap PrefsController::liveResources()
{
    return LiveResources::shared().resources();
}

void PrefsController::getUserPreferences()
{
    LiveResources::shared().drop();
}

// ---- user settings

namespace {

constexpr float NoLimit = 32767.0f;

QVariant setting(const char* key, const QVariant& fallback)
{
    return QSettings().value(QLatin1String(key), fallback);
}

} // namespace

float PrefsController::minimumImageSize() const
{
    return setting("minImageSize", 100.0).toFloat();
}

float PrefsController::maximumImageSize() const
{
    return setting("maxImageSize", 450.0).toFloat();
}

float PrefsController::overwriteImageThreshold() const
{
    return setting("overwriteImageThreshold", NoLimit).toFloat();
}

bool PrefsController::ignoreNonSquareArtwork() const
{
    return setting("ignoreNonSquareArt", true).toBool();
}

bool PrefsController::noiTunesArtwork() const
{
    return setting("noiTunesArtwork", false).toBool();
}

void PrefsController::storeImageSizes(float minimum, float maximum, float threshold, float sliderBottom,
                                      float sliderTop)
{
    QSettings settings;
    const float largest = std::max(maximum, minimum);
    settings.setValue(QStringLiteral("maxImageSize"), largest >= sliderTop ? NoLimit : largest);
    const float smallest = std::min(minimum, largest);
    settings.setValue(QStringLiteral("minImageSize"), minimum <= sliderBottom ? 0.0f : smallest);
    settings.setValue(QStringLiteral("overwriteImageThreshold"),
                      threshold >= sliderTop ? NoLimit : threshold);
}

bool PrefsController::keepiTunesRefreshed() const
{
    return setting("keepiTunesRefreshed", true).toBool();
}

int PrefsController::cacheSizeMB() const
{
    return setting("cacheSizeMB", 10).toInt();
}

bool PrefsController::writeSpecCorrectID3v24() const
{
    return setting("id3v24Accurate", false).toBool();
}

void PrefsController::setWriteSpecCorrectID3v24(bool accurate)
{
    QSettings().setValue(QStringLiteral("id3v24Accurate"), accurate);
    applyTagWritingSettings();
}

void PrefsController::applyTagWritingSettings() const
{
    MP3InfoTag::setWriteSynchSafeSizesInV24(writeSpecCorrectID3v24());
}

int PrefsController::updateCheckLevel() const
{
    return setting("updateCheckLevel", 0).toInt();
}

bool PrefsController::filterLyrics() const
{
    return setting("filterLyrics", false).toBool();
}

void PrefsController::setFilterLyrics(bool lyrics)
{
    QSettings().setValue(QStringLiteral("filterLyrics"), lyrics);
}

bool PrefsController::drawerIsOpen() const
{
    return !setting("drawerClosed", false).toBool();
}

void PrefsController::setDrawerOpen(bool open)
{
    QSettings().setValue(QStringLiteral("drawerClosed"), !open);
}

SongSourceKind PrefsController::librarySource()
{
    QSettings settings;
    const QVariant stored = settings.value(QStringLiteral("_source"));
    if (stored.isValid())
        return SongSourceKind(stored.toInt());
    if (iTunesInterface::canGetMusicLibrary()) {
        settings.setValue(QStringLiteral("_source"), int(SongSourceKind::Library));
        return SongSourceKind::Library;
    }
    return SongSourceKind::Folder;
}

QString PrefsController::libraryDirectory()
{
    QSettings settings;
    QString path = settings.value(QStringLiteral("_directory")).toString();
    if (path.isEmpty()) {
        path = QDir::homePath() + QStringLiteral("/Music");
        settings.setValue(QStringLiteral("_directory"), path);
    }
    return path;
}

void PrefsController::setLibraryDirectory(const QString& path)
{
    QSettings settings;
    if (path.isNull())
        settings.remove(QStringLiteral("_directory"));
    else
        settings.setValue(QStringLiteral("_directory"), path);
    settings.setValue(QStringLiteral("_source"), int(SongSourceKind::Folder));
}

QString PrefsController::libraryPlaylist() const
{
    return setting("_playlist", QStringLiteral("Library")).toString();
}

void PrefsController::setLibraryPlaylist(const QString& name)
{
    QSettings settings;
    if (name.isNull())
        settings.remove(QStringLiteral("_playlist"));
    else
        settings.setValue(QStringLiteral("_playlist"), name);
    settings.setValue(QStringLiteral("_source"), int(SongSourceKind::Playlist));
}

void PrefsController::setiTunesLibrary()
{
    QSettings().setValue(QStringLiteral("_source"), int(SongSourceKind::Library));
}

void PrefsController::useDefaults()
{
    QSettings settings;
    for (const char* key : {"minImageSize", "maxImageSize", "overwriteImageThreshold", "ignoreNonSquareArt",
                            "cacheSizeMB", "keepiTunesRefreshed", "id3v24Accurate", "noiTunesArtwork"})
        settings.remove(QLatin1String(key));
    applyTagWritingSettings();
}
