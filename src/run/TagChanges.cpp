#include "TagChanges.h"

#include "songs/SongFile.h"
#include "tags/AudioInfoTag.h"

#include <QMap>

#include <algorithm>

SongChangeBatch::Change TagChanges::addPicture(const ID3Image& picture)
{
    return [picture](SongFile&, AudioInfoTag& tag) {
        const QList<ID3Image> pictures = tag.images();
        const bool held = std::any_of(pictures.cbegin(), pictures.cend(), [&picture](const ID3Image& p) {
            return p.imageData() == picture.imageData();
        });
        return !held && tag.addImage(picture);
    };
}

SongChangeBatch::Change TagChanges::removePicture(const QByteArray& data)
{
    return [data](SongFile&, AudioInfoTag& tag) {
        const QList<ID3Image> pictures = tag.images();
        for (int index = 0; index < pictures.size(); ++index) {
            if (pictures.at(index).imageData() == data)
                return tag.removeImageAtIndex(index);
        }
        return false;
    };
}

SongChangeBatch::Change TagChanges::removeAllPictures()
{
    return [](SongFile&, AudioInfoTag& tag) {
        if (tag.numberOfImages() == 0)
            return false;
        tag.removeAllImages();
        return true;
    };
}

SongChangeBatch::Change TagChanges::setLyrics(const QString& lyrics)
{
    return [lyrics](SongFile&, AudioInfoTag& tag) {
        if (lyrics.size() > kMaxLyricsLength)
            return false;
        const QString old = tag.lyrics();
        if (old == lyrics || (old.isEmpty() && lyrics.isEmpty()))
            return false;
        tag.setLyrics(lyrics.isEmpty() ? QString() : lyrics);
        return true;
    };
}

QList<TagChanges::GenreMapping> TagChanges::genreMappings(const SongChangeBatch::SongList& songs)
{
    QMap<QString, GenreMapping> byText;
    QHash<QString, QString> standardOf;
    for (const std::shared_ptr<SongFile>& song : songs) {
        AudioInfoTag* tag = song ? song->infotag() : nullptr;
        const QString genre = tag ? tag->genres().trimmed() : QString();
        if (genre.isEmpty())
            continue;
        auto known = standardOf.constFind(genre);
        if (known == standardOf.constEnd())
            known = standardOf.insert(genre, AudioInfoTag::standardizedGenreFrom(genre));
        if (known->isEmpty() || *known == genre)
            continue;
        GenreMapping& mapping = byText[genre];
        mapping.from = genre;
        mapping.to = *known;
        ++mapping.songs;
    }
    return byText.values();
}

SongChangeBatch::Change TagChanges::standardizeGenres(const QHash<QString, QString>& chosen)
{
    return [chosen](SongFile&, AudioInfoTag& tag) {
        const QString genre = tag.genres().trimmed();
        const auto found = chosen.constFind(genre);
        if (found == chosen.constEnd() || found->isEmpty() || *found == tag.genres())
            return false;
        tag.setGenres(*found);
        return true;
    };
}
