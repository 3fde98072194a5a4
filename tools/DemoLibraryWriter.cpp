#include "DemoLibraryWriter.h"

#include "DemoAudioFiles.h"
#include "tags/AudioInfoTag.h"
#include "tags/ID3Image.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFont>
#include <QImage>
#include <QImageWriter>
#include <QJsonArray>
#include <QLinearGradient>
#include <QMap>
#include <QPainter>

namespace {

// Invented names; any likeness to real bands is an accident.
const char* const kArtists[] = {"The Lantern Choir",   "Marisol Vantberg",    "Northwind Tramway",
                                "Elsie Okonkwo-Hart",  "Copper & Kite",       "Juniper Static",
                                "The Halvard Quartet", "Oskar Lindqvist Band"};
const char* const kAlbums[] = {"Paper Harbours",     "Static Orchards",     "A Map of Small Rooms",
                               "Lowland Radio",      "Glass Weather",       "The Long Thaw",
                               "Tin Roof Sermons",   "Evening Cartography", "Salt and Signal",
                               "Lamplight Geometry", "Northern Stairwells", "Slow Parade"};
const char* const kGenres[] = {"Folk",    "Alternative", "Jazz",  "Electronic",
                               "Ambient", "Pop",         "Blues", "Soul"};
const char* const kTitleFirst[] = {"Silver", "Quiet",  "Paper",   "Northern", "Borrowed", "Little",
                                   "Golden", "Hollow", "Distant", "Crooked",  "Summer",   "Midnight"};
const char* const kTitleSecond[] = {"Harbour", "Lanterns", "Stairwell", "Telegraph", "Orchard", "Compass",
                                    "Weather", "Parade",   "Railway",   "Window",    "Letters", "Tide"};

template <typename T, int N> constexpr int lengthOf(const T (&)[N])
{
    return N;
}

QString pick(const char* const* list, int size, int index)
{
    return QString::fromUtf8(list[index % size]);
}

QString lackName(DemoLibraryWriter::Lack lack)
{
    switch (lack) {
    case DemoLibraryWriter::Lack::Year:
        return QStringLiteral("year");
    case DemoLibraryWriter::Lack::Genre:
        return QStringLiteral("genre");
    case DemoLibraryWriter::Lack::Artwork:
        return QStringLiteral("artwork");
    default:
        return QString();
    }
}

// "1 song", "4 songs".
QString counted(qsizetype number, const char* noun)
{
    return QStringLiteral("%1 %2%3").arg(number).arg(QLatin1String(noun),
                                                     number == 1 ? QString() : QStringLiteral("s"));
}

// A name usable as one path component.
QString fileNameOf(const QString& text)
{
    QString name = text;
    name.replace(QLatin1Char('/'), QLatin1Char('-'));
    return name;
}

} // namespace

DemoLibraryWriter::DemoLibraryWriter(const Options& options) : mOptions(options)
{
    plan();
}

void DemoLibraryWriter::plan()
{
    const int albums = qMax(0, mOptions.albums);
    const int songs = qMax(1, mOptions.songsPerAlbum);
    for (int a = 0; a < albums; ++a) {
        Album album;
        album.artist = pick(kArtists, lengthOf(kArtists), a);
        album.name = pick(kAlbums, lengthOf(kAlbums), a);
        if (a >= lengthOf(kAlbums))
            album.name += QStringLiteral(" %1").arg(a / lengthOf(kAlbums) + 1);
        album.year = QString::number(1968 + (a * 7) % 50);
        album.genre = pick(kGenres, lengthOf(kGenres), a);
        album.mpeg4 = a % 3 == 1;
        album.bare = a >= albums - mOptions.bareAlbums;
        album.hue = (a * 67 + 20) % 360;
        const QString extension = album.mpeg4 ? QStringLiteral(".m4a") : QStringLiteral(".mp3");
        for (int j = 0; j < songs; ++j) {
            Song song;
            song.track = j + 1;
            song.title = pick(kTitleFirst, lengthOf(kTitleFirst), a * 5 + j) + QLatin1Char(' ') +
                         pick(kTitleSecond, lengthOf(kTitleSecond), a * 3 + j * 5);
            if (j >= lengthOf(kTitleFirst))
                song.title += QStringLiteral(" (Part %1)").arg(j / lengthOf(kTitleFirst) + 1);
            // Every second song lacks one thing; which one turns with the album.
            if (!album.bare && j % 2 == 1)
                song.lack = static_cast<Lack>(1 + (a + j / 2) % 3);
            song.path = fileNameOf(album.artist) + QLatin1Char('/') + fileNameOf(album.name) +
                        QLatin1Char('/') + QStringLiteral("%1 ").arg(song.track, 2, 10, QLatin1Char('0')) +
                        fileNameOf(song.title) + extension;
            album.songs.append(song);
        }
        mAlbums.append(album);
    }
    // The damaged song: a complete one of the first MP3 album, so that its
    // siblings still have every value to lend.
    if (mOptions.damagedSong && !mAlbums.isEmpty() && !mAlbums.first().mpeg4) {
        QList<Song>& first = mAlbums.first().songs;
        first[qMin<qsizetype>(2, first.size() - 1)].damaged = true;
    }
}

bool DemoLibraryWriter::write(const QString& folder, QString* errorText)
{
    const QDir dir(folder);
    if (dir.exists() && !dir.isEmpty()) {
        *errorText = QStringLiteral("%1 exists and is not empty").arg(folder);
        return false;
    }
    if (!QDir().mkpath(folder)) {
        *errorText = QStringLiteral("cannot make %1").arg(folder);
        return false;
    }
    int serial = 0;
    for (const Album& album : std::as_const(mAlbums)) {
        const QByteArray cover = album.bare ? QByteArray() : coverArt(album.name, album.artist, album.hue);
        for (const Song& song : album.songs) {
            if (!writeSong(folder, album, song, serial++, cover, errorText))
                return false;
        }
    }
    return true;
}

bool DemoLibraryWriter::writeSong(const QString& folder, const Album& album, const Song& song, int serial,
                                  const QByteArray& cover, QString* errorText) const
{
    const QString path = folder + QLatin1Char('/') + song.path;
    // Lengths between about two thirds and four thirds of the wanted one.
    const int seconds = qMax(1, mOptions.seconds * (8 + serial % 9) / 12);
    const QByteArray audio = album.mpeg4 ? DemoAudioFiles::mpeg4Audio(seconds, serial)
                                         : DemoAudioFiles::mpegAudio(seconds, serial);
    if (!DemoAudioFiles::writeFile(path, audio, errorText))
        return false;

    std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagWithPath(path);
    if (!tag) {
        *errorText = QStringLiteral("our reader refuses %1").arg(path);
        return false;
    }
    tag->setArtist(album.artist);
    tag->setAlbum(album.name);
    tag->setTitle(song.title);
    tag->setTrack(QStringLiteral("%1/%2").arg(song.track).arg(album.songs.size()));
    tag->setLyrics(QStringLiteral("%1, %1,\nthe lights are on in every room;\n"
                                  "we kept the %2 till the morning came\nand sang it back to you.")
                       .arg(song.title, song.title.section(QLatin1Char(' '), -1).toLower()));
    if (!album.bare && song.lack != Lack::Year)
        tag->setYear(album.year);
    if (!album.bare && song.lack != Lack::Genre)
        tag->setGenres(album.genre);
    if (!cover.isEmpty() && song.lack != Lack::Artwork) {
        if (const std::optional<ID3Image> picture =
                ID3Image::imageWithData(cover, QStringLiteral("image/jpeg")))
            tag->addImage(*picture);
    }
    QString writeError;
    if (!tag->modifySongFileAtPath(path, &writeError)) {
        *errorText = QStringLiteral("cannot write the tag of %1: %2").arg(path, writeError);
        return false;
    }
    return !song.damaged || damageID3Tag(path, errorText);
}

QByteArray DemoLibraryWriter::coverArt(const QString& album, const QString& artist, int hue)
{
    constexpr int kSide = 500;
    QImage image(kSide, kSide, QImage::Format_RGB32);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient gradient(0, 0, kSide, kSide);
    gradient.setColorAt(0, QColor::fromHsv(hue, 150, 230));
    gradient.setColorAt(1, QColor::fromHsv((hue + 50) % 360, 210, 90));
    painter.fillRect(image.rect(), gradient);
    // Rings around a point that moves with the hue.
    const QPointF centre(120 + hue % 260, 130 + (hue * 3) % 120);
    for (int r = 30; r < 420; r += 34) {
        painter.setPen(QPen(QColor(255, 255, 255, 110 - r / 5), 6));
        painter.drawEllipse(centre, r, r);
    }
    painter.fillRect(QRect(0, 330, kSide, 170), QColor(0, 0, 0, 120));
    painter.setPen(Qt::white);
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(40);
    font.setBold(true);
    painter.setFont(font);
    painter.drawText(QRect(24, 340, kSide - 48, 110), Qt::AlignLeft | Qt::AlignBottom | Qt::TextWordWrap,
                     album);
    font.setPixelSize(24);
    font.setBold(false);
    painter.setFont(font);
    painter.drawText(QRect(24, 452, kSide - 48, 36), Qt::AlignLeft | Qt::AlignVCenter, artist);
    painter.end();

    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(85);
    if (!writer.write(image))
        return QByteArray();
    return bytes;
}

bool DemoLibraryWriter::damageID3Tag(const QString& path, QString* errorText)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite)) {
        *errorText = QStringLiteral("cannot open %1").arg(path);
        return false;
    }
    const QByteArray head = file.read(10);
    if (head.size() < 10 || !head.startsWith("ID3") || head[3] < 2 || head[3] > 4) {
        *errorText = QStringLiteral("%1 has no ID3v2 tag").arg(path);
        return false;
    }
    const int major = head[3];
    auto synchSafe = [](const char* p) {
        return qint64(p[0] & 0x7F) << 21 | qint64(p[1] & 0x7F) << 14 | qint64(p[2] & 0x7F) << 7 |
               (p[3] & 0x7F);
    };
    const qint64 tagEnd = 10 + synchSafe(head.constData() + 6);
    const QByteArray tag = head + file.read(tagEnd - 10);
    const int idLength = major == 2 ? 3 : 4;
    const int headerLength = major == 2 ? 6 : 10;
    qint64 last = -1;
    for (qint64 p = 10; p + headerLength <= tag.size();) {
        const char* frame = tag.constData() + p;
        bool named = true;
        for (int i = 0; i < idLength; ++i)
            named = named && ((frame[i] >= 'A' && frame[i] <= 'Z') || (frame[i] >= '0' && frame[i] <= '9'));
        if (!named)
            break;
        const auto* u = reinterpret_cast<const uchar*>(frame + idLength);
        const qint64 size = major == 2   ? qint64(u[0]) << 16 | u[1] << 8 | u[2]
                            : major == 4 ? synchSafe(frame + idLength)
                                         : qint64(u[0]) << 24 | u[1] << 16 | u[2] << 8 | u[3];
        last = p;
        p += headerLength + size;
    }
    // 0x7F in every size byte is far past the end, read plain or synch-safe.
    if (last < 0 || !file.seek(last + idLength) || file.write(QByteArray(idLength, '\x7F')) < 0) {
        *errorText = QStringLiteral("cannot damage the tag of %1").arg(path);
        return false;
    }
    return true;
}

QString DemoLibraryWriter::summary(const QString& folder) const
{
    int songs = 0, mp3 = 0;
    QString lines;
    for (const Album& album : mAlbums) {
        QMap<QString, int> lacking;
        for (const Song& song : album.songs) {
            ++songs;
            mp3 += album.mpeg4 ? 0 : 1;
            if (song.lack != Lack::Nothing)
                ++lacking[lackName(song.lack)];
        }
        QStringList lacks;
        for (auto it = lacking.cbegin(); it != lacking.cend(); ++it)
            lacks.append(QStringLiteral("%1 %2").arg(it.value()).arg(it.key()));
        lines +=
            QStringLiteral("  %1 - %2 (%3, %4): %5")
                .arg(album.artist, album.name, album.mpeg4 ? QStringLiteral("MPEG-4") : QStringLiteral("MP3"),
                     album.year + QLatin1String(", ") + album.genre, counted(album.songs.size(), "song"));
        if (album.bare)
            lines += QStringLiteral(", no year, genre or artwork on any song");
        else if (!lacks.isEmpty())
            lines += QStringLiteral(", lacking: ") + lacks.join(QStringLiteral(", "));
        lines += QLatin1Char('\n');
    }
    QString text = QStringLiteral("Wrote %1 in %2 (%3 MP3, %4 MPEG-4) to %5\n")
                       .arg(counted(songs, "song"), counted(mAlbums.size(), "album"))
                       .arg(mp3)
                       .arg(songs - mp3)
                       .arg(folder);
    // Long lists are summed up only.
    if (mAlbums.size() <= 12)
        text += lines;
    for (const Album& album : mAlbums) {
        for (const Song& song : album.songs) {
            if (song.damaged)
                text += QStringLiteral("  damaged ID3 tag: %1\n").arg(song.path);
        }
    }
    return text;
}

QJsonObject DemoLibraryWriter::manifest() const
{
    QJsonArray albums;
    for (const Album& album : mAlbums) {
        QJsonArray titles;
        for (const Song& song : album.songs)
            titles.append(song.title);
        albums.append(QJsonObject{{QStringLiteral("artist"), album.artist},
                                  {QStringLiteral("album"), album.name},
                                  {QStringLiteral("year"), album.year},
                                  {QStringLiteral("genre"), album.genre},
                                  {QStringLiteral("bare"), album.bare},
                                  {QStringLiteral("tracks"), titles}});
    }
    return QJsonObject{{QStringLiteral("albums"), albums}};
}
