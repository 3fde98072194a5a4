#include "ID3Image.h"

#include "ID3TextCodec.h"

#include "support/WMLog.h"

#include <utility>

ID3Image::ID3Image(QByteArray data, QString mimeType)
    : mPictureData(std::move(data)), mMimeFormat(std::move(mimeType)), mValid(true)
{}

std::optional<ID3Image> ID3Image::imageWithData(const QByteArray& data, const QString& mimeType)
{
    if (data.isEmpty())
        return std::nullopt;
    return ID3Image(data, mimeType);
}

std::optional<ID3Image> ID3Image::imageWithID3v22Frame(QByteArrayView body)
{
    if (body.size() <= 6) {
        WMLog("initWithID3v22Frame insufficient data");
        return std::nullopt;
    }
    ID3Image image;
    image.mValid = true;
    image.mTextEncoding = static_cast<uchar>(body[0]);
    image.mMimeFormat = QStringLiteral("image/") + QString::fromLatin1(body.sliced(1, 3)).toLower();
    image.mPictureType = static_cast<uchar>(body[4]);
    qsizetype dataStart = 6;
    if (body[5] != 0) {
        const QByteArrayView rest = body.sliced(5);
        const qsizetype zero = rest.indexOf('\0');
        image.mDescription = QString::fromLatin1(zero >= 0 ? rest.first(zero) : rest);
        // The data begin at the first zero byte from byte 6 on, that byte
        // included: older files were written that way and read back so.
        const qsizetype z = body.sliced(6).indexOf('\0');
        dataStart = z >= 0 ? 6 + z : body.size();
    }
    if (dataStart < body.size())
        image.mPictureData = body.sliced(dataStart).toByteArray();
    return image;
}

std::optional<ID3Image> ID3Image::imageWithID3v23Frame(QByteArrayView body)
{
    if (body.size() < 4)
        return std::nullopt;
    ID3Image image;
    image.mValid = true;
    image.mTextEncoding = static_cast<uchar>(body[0]);
    qsizetype typePos = 1;
    if (body[1] != 0) {
        const QByteArrayView rest = body.sliced(1);
        const qsizetype zero = rest.indexOf('\0');
        const qsizetype z = zero >= 0 ? 1 + zero : body.size();
        const QString mime = QString::fromLatin1(body.sliced(1, z - 1));
        if (mime.startsWith(QLatin1String("image/"))) {
            image.mMimeFormat = mime;
            typePos = z + 1;
        } else {
            // A bare subtype: the type byte is read at the terminator itself,
            // as the files that write it this way expect.
            image.mMimeFormat = QStringLiteral("image/") + mime;
            typePos = z;
        }
    }
    if (typePos >= body.size())
        return image;
    image.mPictureType = static_cast<uchar>(body[typePos]);
    const qsizetype descPos = typePos + 1;
    qsizetype dataStart = typePos + 2;
    if (descPos < body.size() && body[descPos] != 0) {
        qsizetype consumed = body.size() - descPos;
        image.mDescription = ID3TextCodec::id3v23StringIn(body, descPos, image.mTextEncoding, &consumed);
        dataStart = descPos + consumed;
    }
    if (dataStart < body.size())
        image.mPictureData = body.sliced(dataStart).toByteArray();
    return image;
}

QString ID3Image::mimeFormat() const
{
    if (mMimeFormat.isEmpty())
        mMimeFormat = autodetectMIMEFormat();
    return mMimeFormat;
}

QString ID3Image::autodetectMIMEFormat() const
{
    const QByteArray& d = mPictureData;
    if (d.size() >= 4 && d[1] == 'P' && d[2] == 'N' && d[3] == 'G')
        return QStringLiteral("image/png");
    if (d.size() >= 4 && static_cast<uchar>(d[0]) == 0xff && static_cast<uchar>(d[1]) == 0xd8 &&
        static_cast<uchar>(d[2]) == 0xff && static_cast<uchar>(d[3]) == 0xe0)
        return QStringLiteral("image/jpeg");
    return QString();
}

QString ID3Image::filenameSuffix() const
{
    const QString mime = mimeFormat();
    if (mime.isEmpty())
        return QString();
    QString suffix = mime.mid(6);
    if (suffix == QLatin1String("jpeg"))
        suffix = QStringLiteral("jpg");
    return suffix.toUpper();
}

ID3Image ID3Image::copy() const
{
    ID3Image image(mPictureData, mMimeFormat);
    image.mValid = mValid;
    image.mTextEncoding = mTextEncoding;
    image.mPictureType = mPictureType;
    return image;
}

QVariantMap ID3Image::archived() const
{
    QVariantMap archive;
    if (!mMimeFormat.isNull())
        archive.insert(QStringLiteral("mimeFormat"), mMimeFormat);
    if (!mDescription.isNull())
        archive.insert(QStringLiteral("description"), mDescription);
    archive.insert(QStringLiteral("textEncoding"), mTextEncoding);
    archive.insert(QStringLiteral("pictureType"), mPictureType);
    archive.insert(QStringLiteral("pictureData"), mPictureData);
    return archive;
}

ID3Image ID3Image::fromArchive(const QVariantMap& archive)
{
    ID3Image image;
    image.mValid = true;
    image.mMimeFormat = archive.value(QStringLiteral("mimeFormat")).toString();
    image.mDescription = archive.value(QStringLiteral("description")).toString();
    image.mTextEncoding = archive.value(QStringLiteral("textEncoding")).toInt();
    image.mPictureType = archive.value(QStringLiteral("pictureType")).toInt();
    image.mPictureData = archive.value(QStringLiteral("pictureData")).toByteArray();
    return image;
}

void ID3Image::encode(QDataStream& out) const
{
    out << mMimeFormat << mDescription << qint32(mTextEncoding) << qint32(mPictureType) << mPictureData;
}

ID3Image ID3Image::decode(QDataStream& in)
{
    ID3Image image;
    qint32 encoding = 0, type = 0;
    in >> image.mMimeFormat >> image.mDescription >> encoding >> type >> image.mPictureData;
    image.mTextEncoding = encoding;
    image.mPictureType = type;
    image.mValid = in.status() == QDataStream::Ok;
    return image;
}

bool ID3Image::operator==(const ID3Image& other) const
{
    return mValid == other.mValid && mPictureData == other.mPictureData &&
           mimeFormat() == other.mimeFormat() && mDescription == other.mDescription &&
           mTextEncoding == other.mTextEncoding && mPictureType == other.mPictureType;
}

QString ID3Image::description() const
{
    return QStringLiteral("<ID3Image %1, %2 bytes>").arg(mimeFormat()).arg(mPictureData.size());
}
