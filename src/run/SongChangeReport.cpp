#include "SongChangeReport.h"

#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"

namespace {

// Lyrics are shown as their first line, cut short.
constexpr qsizetype kLyricsPreview = 40;

QString quoted(const QString& value)
{
    return QLatin1Char('"') + value + QLatin1Char('"');
}

QString lyricsPreview(const QString& lyrics)
{
    if (lyrics.isEmpty())
        return LocalizedStrings::text(QStringLiteral("ChangeNone"));
    QString first = lyrics.section(QLatin1Char('\n'), 0, 0).trimmed();
    if (first.size() > kLyricsPreview || first.size() < lyrics.trimmed().size())
        first = first.left(kLyricsPreview) + QStringLiteral("…");
    return LocalizedStrings::format(QStringLiteral("ChangeLyricsLines"), quoted(first),
                                    static_cast<qint64>(lyrics.count(QLatin1Char('\n')) + 1));
}

QString pictures(int count, qint64 bytes)
{
    if (count == 0)
        return LocalizedStrings::text(QStringLiteral("ChangeNone"));
    return LocalizedStrings::format(QStringLiteral("ChangePictures"), static_cast<qint64>(count), bytes);
}

} // namespace

SongChangeReport::SongChangeReport(const AudioInfoTag& tag) : mBefore(valuesOf(tag)) {}

SongChangeReport::Values SongChangeReport::valuesOf(const AudioInfoTag& tag)
{
    Values v;
    v.album = tag.album();
    v.title = tag.title();
    v.genre = tag.genres();
    v.track = tag.track();
    v.year = tag.year();
    v.lyrics = tag.lyrics();
    v.images = tag.numberOfImages();
    v.artworkBytes = v.images > 0 ? tag.numberOfArtworkBytes() : 0;
    return v;
}

QStringList SongChangeReport::changesTo(const AudioInfoTag& tag) const
{
    const Values after = valuesOf(tag);
    QStringList lines;
    const auto text = [&](const char* name, const QString& before, const QString& now) {
        if (before != now)
            lines.append(QLatin1String(name) + QStringLiteral(": ") + quoted(before) + QStringLiteral(" → ") +
                         quoted(now));
    };
    text("album", mBefore.album, after.album);
    text("title", mBefore.title, after.title);
    text("genre", mBefore.genre, after.genre);
    text("track", mBefore.track, after.track);
    text("year", mBefore.year, after.year);
    if (mBefore.lyrics != after.lyrics)
        lines.append(QStringLiteral("lyrics: ") + lyricsPreview(mBefore.lyrics) + QStringLiteral(" → ") +
                     lyricsPreview(after.lyrics));
    if (mBefore.images != after.images || mBefore.artworkBytes != after.artworkBytes)
        lines.append(QStringLiteral("artwork: ") + pictures(mBefore.images, mBefore.artworkBytes) +
                     QStringLiteral(" → ") + pictures(after.images, after.artworkBytes));
    return lines;
}
