#include "LoadTestFiles.h"

#include "ID3TestData.h"
#include "MpegTestFiles.h"
#include "TestSupport.h"
#include "tags/AudioInfoTag.h"

#include <QBuffer>
#include <QDir>
#include <QImage>
#include <QImageWriter>
#include <QUrl>

QString LoadTestFiles::freshFolder(const QString& name)
{
    const QString folder = TestSupport::scratchFolder() + QStringLiteral("/load/") + name;
    QDir(folder).removeRecursively();
    QDir().mkpath(folder);
    return folder;
}

bool LoadTestFiles::writeSong(const QString& path, const QString& title, const QString& artist,
                              const QString& album, const QString& year)
{
    QList<QByteArray> frames;
    const std::pair<const char*, QString> values[] = {
        {"TIT2", title}, {"TPE1", artist}, {"TALB", album}, {"TYER", year}};
    for (const auto& [id, value] : values) {
        if (!value.isEmpty())
            frames.append(ID3TestData::frame(id, ID3TestData::textBody(value, 1)));
    }
    return MpegTestFiles::writeFile(path, ID3TestData::tag(3, frames), ID3TestData::audio(60));
}

QString LoadTestFiles::yearOf(const QString& path)
{
    const auto tag = AudioInfoTag::tagWithPath(path);
    return tag ? tag->year() : QStringLiteral("<unreadable>");
}

QByteArray LoadTestFiles::picture(const char* format, const QColor& colour, const QSize& size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter(&buffer, format).write(image);
    return data;
}

QByteArray LoadTestFiles::pictureFrameBody(int width)
{
    QByteArray body(1, '\0');
    body += "image/png";
    body += '\0';
    body += char(3); // front cover
    body += '\0';    // no description
    return body + ID3TestData::png(width, width);
}

bool LoadTestFiles::writeDamagedSong(const QString& path, const QString& title)
{
    QByteArray broken("TALB");
    broken += ID3TestData::bigEndian32(0x00010000); // far beyond the tag either way it is read
    broken += QByteArray(2, '\0');
    broken += ID3TestData::textBody(QStringLiteral("Lost"));
    const QList<QByteArray> frames = {ID3TestData::frame("TIT2", ID3TestData::textBody(title)),
                                      ID3TestData::frame("APIC", pictureFrameBody(8)),
                                      ID3TestData::frame("APIC", pictureFrameBody(12)), broken};
    return MpegTestFiles::writeFile(path, ID3TestData::tag(3, frames), ID3TestData::audio(60));
}

QString LoadTestFiles::location(const QString& path)
{
    return QStringLiteral("file://localhost") + QString::fromLatin1(QUrl::toPercentEncoding(path, "/"));
}

QVariantMap LoadTestFiles::track(int id, const QString& path, const QString& name)
{
    return {{QStringLiteral("Track ID"), id},
            {QStringLiteral("Persistent ID"), QStringLiteral("PID%1").arg(id)},
            {QStringLiteral("Name"), name},
            {QStringLiteral("Kind"), QStringLiteral("MPEG audio file")},
            {QStringLiteral("Total Time"), 180000},
            {QStringLiteral("Location"), location(path)}};
}

QVariantMap LoadTestFiles::playlist(const QString& name, const QList<int>& trackIDs)
{
    QVariantList items;
    for (int id : trackIDs)
        items.append(QVariantMap{{QStringLiteral("Track ID"), id}});
    return {{QStringLiteral("Name"), name}, {QStringLiteral("Playlist Items"), items}};
}

namespace {

QString valueXml(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("<true/>\n") : QStringLiteral("<false/>\n");
    case QMetaType::Int:
    case QMetaType::LongLong:
        return QStringLiteral("<integer>%1</integer>\n").arg(value.toLongLong());
    case QMetaType::QVariantMap: {
        QString xml = QStringLiteral("<dict>\n");
        const QVariantMap map = value.toMap();
        for (auto it = map.constBegin(); it != map.constEnd(); ++it)
            xml += QStringLiteral("<key>") + it.key().toHtmlEscaped() + QStringLiteral("</key>") +
                   valueXml(it.value());
        return xml + QStringLiteral("</dict>\n");
    }
    case QMetaType::QVariantList: {
        QString xml = QStringLiteral("<array>\n");
        for (const QVariant& item : value.toList())
            xml += valueXml(item);
        return xml + QStringLiteral("</array>\n");
    }
    default:
        return QStringLiteral("<string>") + value.toString().toHtmlEscaped() + QStringLiteral("</string>\n");
    }
}

} // namespace

QByteArray LoadTestFiles::libraryXml(const QList<QVariantMap>& tracks, const QList<QVariantMap>& playlists)
{
    QVariantMap trackMap;
    for (const QVariantMap& t : tracks)
        trackMap.insert(t.value(QStringLiteral("Track ID")).toString(), t);
    QVariantList lists;
    for (const QVariantMap& p : playlists)
        lists.append(p);
    const QVariantMap root = {
        {QStringLiteral("Major Version"), 1},
        {QStringLiteral("Music Folder"), QStringLiteral("file://localhost/nowhere/Music/")},
        {QStringLiteral("Library Persistent ID"), QStringLiteral("0123456789ABCDEF")},
        {QStringLiteral("Tracks"), trackMap},
        {QStringLiteral("Playlists"), lists}};
    const QString xml = QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                       "<plist version=\"1.0\">\n") +
                        valueXml(root) + QStringLiteral("</plist>\n");
    return xml.toUtf8();
}
