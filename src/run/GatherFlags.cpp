#include "GatherFlags.h"

#include "tags/ID3Image.h"
#include "tags/PictureSize.h"

#include <QBuffer>
#include <QImageReader>

namespace {

// The assets a run can look for, in the order they are considered.
constexpr AlbumAsset kOrder[] = {AlbumAsset::AlbumName, AlbumAsset::SongTitle, AlbumAsset::Genre,
                                 AlbumAsset::Track,     AlbumAsset::Year,      AlbumAsset::Lyrics,
                                 AlbumAsset::Artwork};

} // namespace

GatherFlags GatherFlags::forSong(AlbumAssets checks, AlbumAssets overwrites, float overwriteImageThreshold,
                                 bool noiTunesArtwork, const Song& song)
{
    AlbumAssets gather;
    AlbumAssets overwrite;
    for (AlbumAsset asset : kOrder) {
        if (!checks.testFlag(asset))
            continue;
        gather |= asset;
        if (asset != AlbumAsset::Artwork && overwrites.testFlag(asset))
            overwrite |= asset;
    }

    const bool overwriteArt =
        checks.testFlag(AlbumAsset::Artwork) && overwrites.testFlag(AlbumAsset::Artwork);
    // Existing art is replaced only when it is smaller than the threshold.
    if (overwriteArt && overwriteImageThreshold > song.largestEmbeddedWidth)
        overwrite |= AlbumAsset::Artwork;

    // Art iTunes keeps (or may keep) outside the file is left to iTunes,
    // unless the threshold says to replace even that.
    if (!noiTunesArtwork && !song.hasEmbeddedImages && song.hasiTunesArtwork != 0) {
        if (!(overwriteArt && overwriteImageThreshold >= kReplaceiTunesArtworkThreshold)) {
            gather &= ~AlbumAssets(AlbumAsset::Artwork);
            overwrite &= ~AlbumAssets(AlbumAsset::Artwork);
        }
    }
    return GatherFlags(gather, overwrite);
}

float GatherFlags::largestImageWidth(const QList<ID3Image>& images)
{
    int widest = 0;
    for (const ID3Image& image : images) {
        QSize size = PictureSize::of(image.imageData());
        if (!size.isValid()) {
            // Some formats tell their size only once decoded.
            QByteArray data = image.imageData();
            QBuffer buffer(&data);
            if (!buffer.open(QIODevice::ReadOnly))
                continue;
            QImageReader reader(&buffer);
            size = reader.read().size();
        }
        if (size.isValid())
            widest = std::max(widest, size.width());
    }
    return static_cast<float>(widest);
}

AlbumAssets GatherFlags::consistentOverwrites(AlbumAssets overwrites, AlbumAsset clicked)
{
    const auto settle = [&](AlbumAsset a, AlbumAsset b) {
        if (overwrites.testFlag(a) && overwrites.testFlag(b))
            overwrites &= ~AlbumAssets(clicked == a ? b : a);
    };
    settle(AlbumAsset::AlbumName, AlbumAsset::SongTitle);
    settle(AlbumAsset::Track, AlbumAsset::SongTitle);
    return overwrites;
}

bool GatherFlags::overwritesConflict(AlbumAssets overwrites)
{
    return overwrites.testFlag(AlbumAsset::SongTitle) &&
           (overwrites.testFlag(AlbumAsset::AlbumName) || overwrites.testFlag(AlbumAsset::Track));
}
