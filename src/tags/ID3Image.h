#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QDataStream>
#include <QString>
#include <QVariantMap>

#include <optional>

// One embedded picture (album artwork) of a tag: its bytes, MIME type,
// picture type, description and the text encoding of the frame it came from.
// A plain value; a default-constructed image is "null" and is refused by the
// tags.
class ID3Image
{
public:
    ID3Image() = default;
    ID3Image(QByteArray data, QString mimeType);

    // A picture of the given bytes; nothing for empty data. A null MIME type
    // is detected from the data on first request.
    static std::optional<ID3Image> imageWithData(const QByteArray& data, const QString& mimeType = QString());
    // From the body of an ID3v2.2 "PIC" frame; nothing when 6 bytes or fewer.
    static std::optional<ID3Image> imageWithID3v22Frame(QByteArrayView body);
    // From the body of an ID3v2.3/2.4 "APIC" frame; nothing when under 4 bytes.
    static std::optional<ID3Image> imageWithID3v23Frame(QByteArrayView body);

    bool isNull() const { return !mValid; }

    // The MIME type; when none was given it is detected once and kept.
    QString mimeFormat() const;
    void setMimeFormat(const QString& mimeType) { mMimeFormat = mimeType; }
    // "image/png" or "image/jpeg" from the first bytes, else a null string.
    QString autodetectMIMEFormat() const;
    // "JPG", "PNG", ...: the MIME subtype in upper case; null without a type.
    QString filenameSuffix() const;

    const QByteArray& imageData() const { return mPictureData; }
    // The picture's own description text (may be null).
    QString pictureDescription() const { return mDescription; }
    void setPictureDescription(const QString& description) { mDescription = description; }
    int textEncoding() const { return mTextEncoding; }
    void setTextEncoding(int encoding) { mTextEncoding = encoding; }
    int pictureType() const { return mPictureType; }
    void setPictureType(int type) { mPictureType = type; }

    // A copy with data, MIME type, encoding and picture type (no description).
    ID3Image copy() const;

    // Keyed archive: "mimeFormat", "description", "textEncoding",
    // "pictureType", "pictureData".
    QVariantMap archived() const;
    static ID3Image fromArchive(const QVariantMap& archive);
    // Sequential archive of the same five values in that order.
    void encode(QDataStream& out) const;
    static ID3Image decode(QDataStream& in);

    bool operator==(const ID3Image& other) const;

    // For log lines: "<ID3Image image/jpeg, 1234 bytes>".
    QString description() const;

private:
    QByteArray mPictureData;
    mutable QString mMimeFormat;
    QString mDescription;
    int mTextEncoding = 0;
    int mPictureType = 0;
    bool mValid = false;
};
