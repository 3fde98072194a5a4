#include "web/SiblingIndex.h"

#include "songs/SongFile.h"
#include "tags/AudioInfoTag.h"
#include "text/WendmarkTextExtensions.h"

#include <algorithm>

namespace {

void insertSorted(QList<qsizetype>& positions, qsizetype position)
{
    const auto at = std::lower_bound(positions.begin(), positions.end(), position);
    if (at == positions.end() || *at != position)
        positions.insert(at, position);
}

template <typename Hash, typename Key> void removeSorted(Hash& hash, const Key& key, qsizetype position)
{
    const auto list = hash.find(key);
    if (list == hash.end())
        return;
    const auto at = std::lower_bound(list->begin(), list->end(), position);
    if (at != list->end() && *at == position)
        list->erase(at);
    if (list->isEmpty())
        hash.erase(list);
}

} // namespace

SiblingIndex::SiblingIndex(SongList songs) : mSongs(std::move(songs)) {}

SiblingIndex::~SiblingIndex() = default;

SiblingIndex::SongList SiblingIndex::candidates(const QString& simplifiedAlbum,
                                                const QString& simplifiedArtist, bool compilation)
{
    if (!mFiled)
        fileAll();
    const QList<qsizetype> positions =
        compilation ? mCompilationsByAlbum.value(simplifiedAlbum)
                    : mByAlbumAndArtist.value(qMakePair(simplifiedAlbum, simplifiedArtist));
    SongList songs;
    songs.reserve(positions.size());
    for (qsizetype position : positions)
        songs.append(mSongs.at(position));
    return songs;
}

void SiblingIndex::refile(const SongFile& song)
{
    // Songs not filed yet are filed from their values when first asked.
    if (!mFiled)
        return;
    const QList<qsizetype> positions = mPositions.value(&song);
    for (qsizetype position : positions) {
        unfile(position);
        file(position);
    }
}

void SiblingIndex::setWaiting(const QString& path, bool waiting)
{
    if (waiting) {
        ++mWaiting[path];
        return;
    }
    const auto count = mWaiting.find(path);
    if (count != mWaiting.end() && --*count <= 0)
        mWaiting.erase(count);
}

void SiblingIndex::fileAll()
{
    mFiled = true;
    mFilings.resize(mSongs.size());
    for (qsizetype position = 0; position < mSongs.size(); ++position) {
        if (!mSongs.at(position))
            continue;
        mPositions[mSongs.at(position).get()].append(position);
        file(position);
    }
}

void SiblingIndex::file(qsizetype position)
{
    Filing& filing = mFilings[position];
    AudioInfoTag* tag = mSongs.at(position)->infotag();
    if (!tag) {
        filing = Filing();
        return;
    }
    filing.album = simplifiedOf(tag->album());
    filing.artist = simplifiedOf(tag->artist());
    filing.compilation = tag->isPartOfCompilation();
    filing.filed = true;
    insertSorted(mByAlbumAndArtist[qMakePair(filing.album, filing.artist)], position);
    if (filing.compilation)
        insertSorted(mCompilationsByAlbum[filing.album], position);
}

void SiblingIndex::unfile(qsizetype position)
{
    Filing& filing = mFilings[position];
    if (!filing.filed)
        return;
    removeSorted(mByAlbumAndArtist, qMakePair(filing.album, filing.artist), position);
    if (filing.compilation)
        removeSorted(mCompilationsByAlbum, filing.album, position);
    filing = Filing();
}

QString SiblingIndex::simplifiedOf(const QString& text)
{
    const auto known = mSimplified.constFind(text);
    if (known != mSimplified.constEnd())
        return *known;
    const QString simple = WendmarkTextExtensions::simplified(text);
    mSimplified.insert(text, simple);
    return simple;
}
