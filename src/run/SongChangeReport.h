#pragma once

#include "history/ChangeOrigin.h"
#include "history/TagSnapshot.h"

#include <QHash>
#include <QStringList>

class AudioInfoTag;

// The values of a song's tag taken before a lookup and compared with the tag
// after it: what a run changed, or would change in a dry run, one line per
// attribute, with where each new value came from.
class SongChangeReport
{
public:
    SongChangeReport() = default;
    // Takes the values of `tag` as the "before" state.
    explicit SongChangeReport(const AudioInfoTag& tag) : mBefore(TagSnapshot::of(tag)) {}

    const TagSnapshot& before() const { return mBefore; }

    // One line per attribute whose value differs in `tag`:
    // `year: "" → "1999"  (from sibling 02 Song.mp3)`.
    QStringList changesTo(const AudioInfoTag& tag, const QHash<TagAttribute, ChangeOrigin>& origins = {}) const;

private:
    TagSnapshot mBefore;
};
