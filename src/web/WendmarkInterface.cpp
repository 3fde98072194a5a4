#include "WendmarkInterface.h"

#include "library/PropertyListReader.h"
#include "library/LiveResources.h"
#include "support/BundleInfo.h"
#include "support/WMLog.h"
#include "text/WMCompressionExtensions.h"
#include "text/WMStringExtensions.h"
#include "text/WendmarkTextExtensions.h"
#include "web/WMHTTPQueue.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSettings>
#include <QStandardPaths>

#include <cmath>

namespace {

const QString kCheckKey = QStringLiteral("wmidigestcheckstr");

QString& seedPath()
{
    static QString path = QStringLiteral(":/wmdigest.gz");
    return path;
}

std::optional<QVariantMap>& cachedAlbums()
{
    static std::optional<QVariantMap> albums;
    return albums;
}

// The uncompressed size a gzip stream states in its last four bytes (modulo
// 4 GB); -1 for data that is not gzip.
qint64 statedGzipSize(const QByteArray& data)
{
    if (data.size() < 18 || static_cast<unsigned char>(data.at(0)) != 0x1f ||
        static_cast<unsigned char>(data.at(1)) != 0x8b)
        return -1;
    const auto* tail = reinterpret_cast<const unsigned char*>(data.constData() + data.size() - 4);
    return qint64(tail[0]) | qint64(tail[1]) << 8 | qint64(tail[2]) << 16 | qint64(tail[3]) << 24;
}

QVariant headerValue(const QVariantMap& headers, const QString& name)
{
    for (auto it = headers.cbegin(); it != headers.cend(); ++it) {
        if (it.key().compare(name, Qt::CaseInsensitive) == 0)
            return it.value();
    }
    return QVariant();
}

} // namespace

WendmarkInterface::WendmarkInterface(const QVariantMap& resources, QObject* parent)
    : WebDBInterface(resources, parent)
{}

QString WendmarkInterface::wmdigestPath()
{
    static const QString path = []() -> QString {
        const QStringList caches = QStandardPaths::standardLocations(QStandardPaths::CacheLocation);
        if (!caches.isEmpty() && !caches.constFirst().isEmpty())
            return caches.constFirst() + QLatin1Char('/') + BundleInfo::identifier() +
                   QStringLiteral(".info/wmdigest.gz");
        return QDir::homePath() + QStringLiteral("/Library/Caches/") + BundleInfo::identifier() +
               QStringLiteral(".info/wmdigest.gz");
    }();
    return path;
}

void WendmarkInterface::setSeedPath(const QString& path)
{
    seedPath() = path;
}

bool WendmarkInterface::installSeedIfMissing()
{
    const QString path = wmdigestPath();
    if (QFileInfo::exists(path) || seedPath().isEmpty() || !QFileInfo::exists(seedPath()))
        return false;
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile seed(seedPath());
    if (!seed.open(QIODevice::ReadOnly))
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(seed.readAll()) < 0 || !file.commit()) {
        WMLog("Couldn't put the album digest seed at %@", path);
        return false;
    }
    WMLog("Album digest seeded at %@", path);
    return true;
}

QVariantMap WendmarkInterface::albumsFromDigestData(const QByteArray& data)
{
    if (data.isEmpty() || data.size() > kMaxDigestFileBytes)
        return {};
    if (statedGzipSize(data) > kMaxDigestBytes) {
        WMLog("The album digest says it unpacks to more than %ld bytes; not read",
              static_cast<long>(kMaxDigestBytes));
        return {};
    }
    const std::optional<QByteArray> plain = WMCompressionExtensions::copyDecompressedData(data);
    if (!plain || plain->isEmpty() || plain->size() > kMaxDigestBytes)
        return {};
    const QVariant root = PropertyListReader::mutablePropertyListFromData(*plain, false);
    if (root.typeId() != QMetaType::QVariantMap)
        return {};
    return root.toMap();
}

const QVariantMap& WendmarkInterface::albumsDict()
{
    std::optional<QVariantMap>& albums = cachedAlbums();
    if (!albums) {
        installSeedIfMissing();
        QFile file(wmdigestPath());
        QByteArray data;
        if (file.open(QIODevice::ReadOnly) && file.size() <= kMaxDigestFileBytes)
            data = file.readAll();
        albums = albumsFromDigestData(data);
        if (albums->isEmpty())
            WMLog("The album digest at %@ is missing, damaged or empty", wmdigestPath());
    }
    return *albums;
}

void WendmarkInterface::dropAlbumsDict()
{
    cachedAlbums().reset();
}

AlbumAssets WendmarkInterface::resourcesPossiblyAvailable() const
{
    return albumsDict().isEmpty() ? AlbumAssets() : AlbumAssets(AlbumAsset::Artwork);
}

QString WendmarkInterface::checkTimeString(const QDateTime& time)
{
    return time.toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) + QStringLiteral(" +0000");
}

std::optional<QDateTime> WendmarkInterface::parsedCheckTime(const QString& text)
{
    // "2024-05-01 10:00:00 +0200"
    const QString trimmed = text.trimmed();
    if (trimmed.size() != 25 || trimmed.at(19) != QLatin1Char(' '))
        return std::nullopt;
    QDateTime time = QDateTime::fromString(trimmed.left(19), QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    const QChar sign = trimmed.at(20);
    bool hoursOk = false;
    bool minutesOk = false;
    const int hours = trimmed.mid(21, 2).toInt(&hoursOk);
    const int minutes = trimmed.mid(23, 2).toInt(&minutesOk);
    if (!time.isValid() || !hoursOk || !minutesOk || hours > 23 || minutes > 59 ||
        (sign != QLatin1Char('+') && sign != QLatin1Char('-')))
        return std::nullopt;
    const int offset = (hours * 3600 + minutes * 60) * (sign == QLatin1Char('-') ? -1 : 1);
    time.setOffsetFromUtc(offset);
    return time.toUTC();
}

QUrl WendmarkInterface::digestURL() const
{
    QString text = mResources.value(QStringLiteral("digestURL")).toString();
    if (text.isEmpty()) {
        const QVariantMap section = LiveResources::shared().resources()
                                        .value(QStringLiteral("res_WendmarkInterface"))
                                        .toMap();
        text = section.value(QStringLiteral("digestURL")).toString();
    }
    const QUrl url(text);
    return url.isValid() && !url.isRelative() ? url : QUrl();
}

void WendmarkInterface::startDigestUpdateCheck()
{
    const QVariantMap section = LiveResources::shared().resources()
                                    .value(QStringLiteral("res_WendmarkInterface"))
                                    .toMap();
    // Parented to the application, and deleted by itself when the check ends.
    auto* checker = new WendmarkInterface(section, QCoreApplication::instance());
    checker->mOwnsItself = true;
    checker->getDigestUpdateIfNecessary();
}

void WendmarkInterface::endCheck()
{
    emit digestCheckEnded();
    if (mOwnsItself)
        deleteLater();
}

void WendmarkInterface::getDigestUpdateIfNecessary()
{
    const QUrl url = digestURL();
    QSettings settings;
    if (!QFileInfo::exists(wmdigestPath())) {
        if (installSeedIfMissing()) {
            settings.remove(kCheckKey);
        } else if (!url.isEmpty()) {
            WMHTTPQueue::queue()->addURL(url, this, "gotNewDigest", false, false);
            return;
        }
    }
    if (url.isEmpty()) {
        // No digest server is configured: the seed is all there is.
        endCheck();
        return;
    }
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const std::optional<QDateTime> lastCheck = parsedCheckTime(settings.value(kCheckKey).toString());
    if (lastCheck && *lastCheck <= now && lastCheck->secsTo(now) <= kCheckInterval) {
        endCheck();
        return;
    }
    settings.setValue(kCheckKey, checkTimeString(now));
    settings.sync();
    WMHTTPQueue::queue()->getHeadersForURL(url, this, "gotDigestHeaders");
}

void WendmarkInterface::gotDigestHeaders(const QVariantMap& answer)
{
    if (!WMHTTPQueue::answerHasError(answer)) {
        const QVariantMap headers = answer.value(QStringLiteral("WMHTTPHeadersKey")).toMap();
        const qint64 length =
            headerValue(headers, QStringLiteral("Content-Length")).toString().trimmed().toLongLong();
        const qint64 local = QFileInfo(wmdigestPath()).size();
        if (length > 0 && length != local) {
            WMLog("Album digest: %ld bytes on the server, %ld here; downloading", static_cast<long>(length),
                  static_cast<long>(local));
            WMHTTPQueue::queue()->addURL(answer.value(QStringLiteral("WMHTTPURLKey")).toUrl(), this,
                                         "gotNewDigest", false, false);
            return;
        }
    }
    endCheck();
}

void WendmarkInterface::gotNewDigest(const QVariantMap& answer)
{
    const QByteArray data = answer.value(QStringLiteral("WMHTTPDataKey")).toByteArray();
    if (WMHTTPQueue::answerHasError(answer) || data.size() < kMinDigestBytes) {
        WMLog("Album digest: ignoring an answer of %ld bytes", static_cast<long>(data.size()));
        endCheck();
        return;
    }
    const QString path = wmdigestPath();
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(data) == data.size() && file.commit()) {
        WMLog("Album digest: wrote %ld bytes to %@", static_cast<long>(data.size()), path);
        dropAlbumsDict();
    } else {
        WMLog("Album digest: couldn't write %@: %@", path, file.errorString());
    }
    endCheck();
}

void WendmarkInterface::beginSearch()
{
    WebDBInterface::beginSearch();
    if (!mResources.isEmpty() && !mArtist.isEmpty() && !mAlbumTitle.isEmpty()) {
        using WendmarkTextExtensions::simplified;
        const QVariantMap& albums = albumsDict();
        QVariant entry = albums.value(simplified(mArtist + QStringLiteral(" - ") + mAlbumTitle));
        if (!entry.isValid() && mIsCompilation) {
            entry = albums.value(simplified(QStringLiteral("various - ") + mAlbumTitle));
            if (!entry.isValid())
                entry = albums.value(simplified(mAlbumTitle));
        }
        const QVariantMap found = entry.toMap();
        const QString file = found.value(QStringLiteral("art_file")).toString();
        const int width = found.value(QStringLiteral("art_x")).toInt();
        if (!file.isEmpty() && mMinImageWidth <= float(width)) {
            AlbumInfo album(mArtist, mAlbumTitle);
            album.setSourceInterfaceName(QString::fromLatin1(metaObject()->className()));
            album.setArtURLString(mResources.value(QStringLiteral("artBaseURL")).toString() +
                                  WMStringExtensions::safelyEscapedString(file));
            mAlbums.append(album);
        } else {
            const QVariantList info{mArtist, mAlbumTitle, mSongTitle, width,
                                    static_cast<int>(std::ceil(mMinImageWidth))};
            notifyUsageDesc(width == 0 ? QStringLiteral("Image Not Found")
                                       : QStringLiteral("Image Not Large Enough"),
                            simplified(mArtist) + QLatin1Char('-') + simplified(mAlbumTitle), info);
        }
    }
    if (mLoadingURLs.isEmpty())
        notifySearchComplete();
}

void WendmarkInterface::cancelSearch()
{
    WebDBInterface::cancelSearch();
    cancelSearchesInQueue();
}
