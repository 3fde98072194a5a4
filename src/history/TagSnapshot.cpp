#include "TagSnapshot.h"

#include "tags/AudioInfoTag.h"

namespace {

bool sameText(const QString& a, const QString& b)
{
    return a.isEmpty() ? b.isEmpty() : a == b;
}

// Pictures are the same when their bytes and types of content are: the ID3
// writer deliberately writes every picture type as 0, so the type says
// nothing about a change.
bool samePictures(const QList<ID3Image>& a, const QList<ID3Image>& b)
{
    if (a.size() != b.size())
        return false;
    for (qsizetype i = 0; i < a.size(); ++i) {
        if (a.at(i).imageData() != b.at(i).imageData() || a.at(i).mimeFormat() != b.at(i).mimeFormat())
            return false;
    }
    return true;
}

} // namespace

TagSnapshot TagSnapshot::of(const AudioInfoTag& tag)
{
    TagSnapshot snapshot;
    snapshot.mTitle = tag.title();
    snapshot.mArtist = tag.artist();
    snapshot.mAlbum = tag.album();
    snapshot.mYear = tag.year();
    snapshot.mGenres = tag.genres();
    snapshot.mTrack = tag.track();
    snapshot.mBPM = tag.bpm();
    snapshot.mCompilation = tag.isPartOfCompilation();
    snapshot.lyrics = tag.lyrics();
    snapshot.pictures = tag.images();
    return snapshot;
}

const QList<TagAttribute>& TagSnapshot::allAttributes()
{
    static const QList<TagAttribute> all = {TagAttribute::Title,  TagAttribute::Artist,      TagAttribute::Album,
                                            TagAttribute::Year,   TagAttribute::Genre,       TagAttribute::Track,
                                            TagAttribute::BPM,    TagAttribute::Compilation, TagAttribute::Lyrics,
                                            TagAttribute::Artwork};
    return all;
}

QString TagSnapshot::nameOf(TagAttribute attribute)
{
    switch (attribute) {
    case TagAttribute::Title:
        return QStringLiteral("title");
    case TagAttribute::Artist:
        return QStringLiteral("artist");
    case TagAttribute::Album:
        return QStringLiteral("album");
    case TagAttribute::Year:
        return QStringLiteral("year");
    case TagAttribute::Genre:
        return QStringLiteral("genre");
    case TagAttribute::Track:
        return QStringLiteral("track");
    case TagAttribute::BPM:
        return QStringLiteral("bpm");
    case TagAttribute::Compilation:
        return QStringLiteral("compilation");
    case TagAttribute::Lyrics:
        return QStringLiteral("lyrics");
    case TagAttribute::Artwork:
        return QStringLiteral("artwork");
    }
    return QString();
}

std::optional<TagAttribute> TagSnapshot::attributeNamed(const QString& name)
{
    for (TagAttribute attribute : allAttributes()) {
        if (nameOf(attribute) == name)
            return attribute;
    }
    return std::nullopt;
}

bool TagSnapshot::sameValue(const TagSnapshot& other, TagAttribute attribute) const
{
    switch (attribute) {
    case TagAttribute::Compilation:
        return mCompilation == other.mCompilation;
    case TagAttribute::Lyrics:
        return sameText(lyrics, other.lyrics);
    case TagAttribute::Artwork:
        return samePictures(pictures, other.pictures);
    default:
        return sameText(text(attribute), other.text(attribute));
    }
}

QList<TagAttribute> TagSnapshot::differencesFrom(const TagSnapshot& other) const
{
    QList<TagAttribute> differences;
    for (TagAttribute attribute : allAttributes()) {
        if (!sameValue(other, attribute))
            differences.append(attribute);
    }
    return differences;
}

QString TagSnapshot::text(TagAttribute attribute) const
{
    switch (attribute) {
    case TagAttribute::Title:
        return mTitle;
    case TagAttribute::Artist:
        return mArtist;
    case TagAttribute::Album:
        return mAlbum;
    case TagAttribute::Year:
        return mYear;
    case TagAttribute::Genre:
        return mGenres;
    case TagAttribute::Track:
        return mTrack;
    case TagAttribute::BPM:
        return mBPM;
    case TagAttribute::Compilation:
        return mCompilation ? QStringLiteral("yes") : QStringLiteral("no");
    case TagAttribute::Lyrics:
    case TagAttribute::Artwork:
        break;
    }
    return QString();
}

void TagSnapshot::setText(TagAttribute attribute, const QString& value)
{
    switch (attribute) {
    case TagAttribute::Title:
        mTitle = value;
        break;
    case TagAttribute::Artist:
        mArtist = value;
        break;
    case TagAttribute::Album:
        mAlbum = value;
        break;
    case TagAttribute::Year:
        mYear = value;
        break;
    case TagAttribute::Genre:
        mGenres = value;
        break;
    case TagAttribute::Track:
        mTrack = value;
        break;
    case TagAttribute::BPM:
        mBPM = value;
        break;
    case TagAttribute::Compilation:
        mCompilation = value == QLatin1String("yes");
        break;
    case TagAttribute::Lyrics:
        lyrics = value;
        break;
    case TagAttribute::Artwork:
        break;
    }
}

void TagSnapshot::applyTo(AudioInfoTag& tag, TagAttribute attribute) const
{
    switch (attribute) {
    case TagAttribute::Title:
        tag.setTitle(mTitle);
        break;
    case TagAttribute::Artist:
        tag.setArtist(mArtist);
        break;
    case TagAttribute::Album:
        tag.setAlbum(mAlbum);
        break;
    case TagAttribute::Year:
        tag.setYear(mYear);
        break;
    case TagAttribute::Genre:
        tag.setGenres(mGenres);
        break;
    case TagAttribute::Track:
        tag.setTrack(mTrack);
        break;
    case TagAttribute::BPM:
        tag.setBPM(mBPM);
        break;
    case TagAttribute::Compilation:
        tag.setIsPartOfCompilation(mCompilation);
        break;
    case TagAttribute::Lyrics:
        tag.setLyrics(lyrics);
        break;
    case TagAttribute::Artwork:
        tag.removeAllImages();
        for (const ID3Image& picture : pictures)
            tag.addImage(picture);
        break;
    }
}
