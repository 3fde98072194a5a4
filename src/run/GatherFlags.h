#pragma once

#include "web/AlbumAsset.h"

#include <QList>

class ID3Image;

// What one song's lookup gathers and what it may overwrite, worked out from
// the check and overwrite choices of the window (or the command line), the
// artwork already embedded and what iTunes is known to keep outside the file.
//
// Artwork is special: existing art is replaced only when it is narrower than
// the overwrite threshold, and a song without embedded art whose artwork
// iTunes may keep separately (known to, or not known yet) is left alone
// unless artwork may be overwritten with a threshold of 1000 or more.
class GatherFlags
{
public:
    // A threshold of this size or more also replaces artwork iTunes keeps.
    static constexpr float kReplaceiTunesArtworkThreshold = 1000.0f;

    struct Song
    {
        // Pixel width of the widest embedded picture; 0 without one.
        float largestEmbeddedWidth = 0.0f;
        bool hasEmbeddedImages = false;
        // -1 unknown, 0 iTunes keeps none, 1 it keeps some.
        qint32 hasiTunesArtwork = -1;
    };

    GatherFlags() = default;
    GatherFlags(AlbumAssets gather, AlbumAssets overwrite) : mGather(gather), mOverwrite(overwrite) {}

    // The flags for one song. `checks` and `overwrites` are the boxes; an
    // overwrite counts only when its check is on too.
    static GatherFlags forSong(AlbumAssets checks, AlbumAssets overwrites, float overwriteImageThreshold,
                               bool noiTunesArtwork, const Song& song);

    // The widest picture among `images`, each decoded as far as needed to
    // know its size; undecodable pictures are skipped.
    static float largestImageWidth(const QList<ID3Image>& images);

    // Keeps the overwrite choices consistent after `clicked` was toggled:
    // album and title exclude each other, as do track and title; of a
    // clashing pair the one not just clicked goes off.
    static AlbumAssets consistentOverwrites(AlbumAssets overwrites, AlbumAsset clicked);
    // The overwrite choices that conflict (both of a pair on), or none.
    static bool overwritesConflict(AlbumAssets overwrites);

    AlbumAssets gather() const { return mGather; }
    AlbumAssets overwrite() const { return mOverwrite; }
    bool operator==(const GatherFlags& other) const = default;

private:
    AlbumAssets mGather;
    AlbumAssets mOverwrite;
};
