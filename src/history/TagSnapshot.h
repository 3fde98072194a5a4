#pragma once

#include "tags/ID3Image.h"

#include <QList>
#include <QString>

#include <optional>

class AudioInfoTag;

// The attributes of a tag that a change can touch. The numbers are kept in
// the change history.
enum class TagAttribute
{
    Title = 1,
    Artist = 2,
    Album = 3,
    Year = 4,
    Genre = 5,
    Track = 6,
    BPM = 7,
    Compilation = 8,
    Lyrics = 9,
    Artwork = 10
};

// The values of one tag at one moment: what a change history records before
// and after a write, compares to tell what changed, and puts back to undo it.
// Pictures are shared with the tag they came from (no copy of their bytes).
class TagSnapshot
{
public:
    TagSnapshot() = default;
    static TagSnapshot of(const AudioInfoTag& tag);

    static const QList<TagAttribute>& allAttributes();
    // "title", "artist", ... "artwork"; the reverse answers nothing for
    // another name.
    static QString nameOf(TagAttribute attribute);
    static std::optional<TagAttribute> attributeNamed(const QString& name);

    // The attributes whose values differ from `other`'s; an empty text and a
    // missing one are the same.
    QList<TagAttribute> differencesFrom(const TagSnapshot& other) const;
    bool sameValue(const TagSnapshot& other, TagAttribute attribute) const;

    // Sets this snapshot's value of the attribute on the tag.
    void applyTo(AudioInfoTag& tag, TagAttribute attribute) const;

    // The text of a text attribute ("yes"/"no" for compilation); null for
    // lyrics and artwork, and for an absent value.
    QString text(TagAttribute attribute) const;
    void setText(TagAttribute attribute, const QString& value);

    QString lyrics;
    QList<ID3Image> pictures;

private:
    QString mTitle, mArtist, mAlbum, mYear, mGenres, mTrack, mBPM;
    bool mCompilation = false;
};
