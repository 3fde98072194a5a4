#include "CachedInfoTag.h"

#include "FileAttributes.h"

#include "support/WMLog.h"

namespace {

const QString kMod = QStringLiteral("mod");

void putText(QVariantMap& info, const char* key, const QString& value)
{
    if (!value.isNull())
        info.insert(QString::fromLatin1(key), value);
}

} // namespace

CachedInfoTag::CachedInfoTag() = default;
CachedInfoTag::~CachedInfoTag() = default;

std::unique_ptr<AudioInfoTag> CachedInfoTag::tagWithCachedInfo(const QVariantMap& info)
{
    if (info.isEmpty())
        return nullptr;
    auto tag = std::make_unique<CachedInfoTag>();
    tag->setCachedInfo(info);
    tag->setIsLazy(true);
    return tag;
}

QVariantMap CachedInfoTag::infoDictForTag(AudioInfoTag& tag, const QString& path)
{
    QVariantMap info;
    const QDateTime modified = FileAttributes::modificationDate(path);
    if (modified.isValid())
        info.insert(kMod, modified);
    else
        WMLog("mod date nil for %@", path);
    putText(info, "tit", tag.title());
    putText(info, "perf", tag.artist());
    putText(info, "alb", tag.album());
    putText(info, "trk", tag.track());
    putText(info, "yr", tag.year());
    putText(info, "gnr", tag.genres());
    putText(info, "bpm", tag.bpm());
    putText(info, "lyr", tag.lyrics());
    if (!tag.metadata().isEmpty())
        info.insert(QStringLiteral("dat"), tag.metadata());
    const int pictures = tag.numberOfImages();
    if (pictures != 0)
        info.insert(QStringLiteral("nart"), pictures);
    info.insert(QStringLiteral("sart"), quint64(qMax<qint64>(0, tag.numberOfArtworkBytes())));
    if (tag.isPartOfCompilation())
        info.insert(QStringLiteral("comp"), QStringLiteral("y"));
    if (pictures > 0) {
        const QImage icon = tag.imageIconNoLargerThan(QSize(kIconWidth, kIconHeight));
        if (!icon.isNull())
            info.insert(QStringLiteral("icon"), icon);
    }
    return info;
}

void CachedInfoTag::setCachedInfo(const QVariantMap& info)
{
    mCachedInfo = info;
    mConvertedIcon = QImage();
    mergeMetadata(info.value(QStringLiteral("dat")).toMap());
    setLazyNumberOfImages(numberOfImages());
}

QString CachedInfoTag::text(const QString& key) const
{
    const auto found = mCachedInfo.constFind(key);
    return found == mCachedInfo.constEnd() || !found->isValid() ? QString() : found->toString();
}

QString CachedInfoTag::title() const
{
    return text(QStringLiteral("tit"));
}
QString CachedInfoTag::artist() const
{
    return text(QStringLiteral("perf"));
}
QString CachedInfoTag::album() const
{
    return text(QStringLiteral("alb"));
}
QString CachedInfoTag::track() const
{
    return text(QStringLiteral("trk"));
}
QString CachedInfoTag::year() const
{
    return text(QStringLiteral("yr"));
}
QString CachedInfoTag::genres() const
{
    return text(QStringLiteral("gnr"));
}
QString CachedInfoTag::lyrics() const
{
    return text(QStringLiteral("lyr"));
}
QString CachedInfoTag::bpm() const
{
    return text(QStringLiteral("bpm"));
}

bool CachedInfoTag::isPartOfCompilation() const
{
    return mCachedInfo.contains(QStringLiteral("comp"));
}

int CachedInfoTag::numberOfImages() const
{
    return mCachedInfo.value(QStringLiteral("nart")).toInt();
}

qint64 CachedInfoTag::numberOfArtworkBytes() const
{
    return mCachedInfo.value(QStringLiteral("sart")).toLongLong();
}

QImage CachedInfoTag::imageIconNoLargerThan(const QSize& size)
{
    QImage icon = mCachedInfo.value(QStringLiteral("icon")).value<QImage>();
    if (icon.isNull()) {
        // The older form: TIFF bytes, converted once.
        if (mConvertedIcon.isNull() && mCachedInfo.contains(QStringLiteral("tiff")))
            mConvertedIcon.loadFromData(mCachedInfo.value(QStringLiteral("tiff")).toByteArray(), "TIFF");
        icon = mConvertedIcon;
    }
    if (icon.isNull() || size.isEmpty())
        return QImage();
    if (icon.width() > size.width() || icon.height() > size.height())
        return icon.scaled(size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    return icon;
}

void CachedInfoTag::whineAboutImmutability(const char* operation) const
{
    WMLog("!!! %@ ignored: a cached tag is read-only; the song needs its real tag first (%@)", operation,
          title());
}

void CachedInfoTag::setArtist(const QString&)
{
    whineAboutImmutability("setArtist");
}
void CachedInfoTag::setTitle(const QString&)
{
    whineAboutImmutability("setTitle");
}
void CachedInfoTag::setAlbum(const QString&)
{
    whineAboutImmutability("setAlbum");
}
void CachedInfoTag::setYear(const QString&)
{
    whineAboutImmutability("setYear");
}
void CachedInfoTag::setGenres(const QString&)
{
    whineAboutImmutability("setGenres");
}
void CachedInfoTag::setTrack(const QString&)
{
    whineAboutImmutability("setTrack");
}
void CachedInfoTag::setLyrics(const QString&)
{
    whineAboutImmutability("setLyrics");
}
void CachedInfoTag::setBPM(const QString&)
{
    whineAboutImmutability("setBPM");
}
void CachedInfoTag::setIsPartOfCompilation(bool)
{
    whineAboutImmutability("setIsPartOfCompilation");
}
bool CachedInfoTag::removeImageAtIndex(int)
{
    whineAboutImmutability("removeImageAtIndex");
    return false;
}
bool CachedInfoTag::addImage(const ID3Image&)
{
    whineAboutImmutability("addImage");
    return false;
}

bool CachedInfoTag::modifySongFileAtPath(const QString& path, QString* errorText)
{
    whineAboutImmutability("modifySongFileAtPath");
    if (errorText)
        *errorText = QStringLiteral("The cached tag of %1 can't be written.").arg(path);
    return false;
}
