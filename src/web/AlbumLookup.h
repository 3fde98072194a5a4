#pragma once

#include "web/AlbumChooser.h"
#include "web/AlbumInfo.h"
#include "web/SourceFailure.h"

#include <QObject>
#include <QStringList>
#include <QVariantMap>

#include <memory>
#include <optional>
#include <vector>

class WebDBInterface;

// One query of the web sources without a song file: an artist with an
// album or a song title, asked of the named sources at once. The albums
// they return are pooled, pruned and one is chosen as a song lookup would;
// nothing is written anywhere. finished() is emitted once, on a later turn
// of the event loop.
class AlbumLookup : public QObject
{
    Q_OBJECT
public:
    struct Query
    {
        QString artist;
        QString album;
        QString title;
    };

    AlbumLookup(Query query, QStringList sources, QVariantMap resources, QObject* parent = nullptr);
    ~AlbumLookup() override;

    void setAlbumSelectionMethod(AlbumChooser::Method method) { mMethod = method; }
    void setAllowSubstringTrackMatches(bool allow) { mAllowSubstrings = allow; }
    void setMinimumAcceptableImageSize(float width) { mMinImageWidth = width; }

    void start();
    void cancel();

    // The sources that were asked (names known and with resources).
    const QStringList& sourcesAsked() const { return mAsked; }
    // Every album the sources returned, in the order they came.
    const QList<AlbumInfo>& gatheredAlbums() const { return mGathered; }
    // What is left after pruning, and the one chosen from it.
    const QList<AlbumInfo>& prunedAlbums() const { return mPruned; }
    const std::optional<AlbumInfo>& chosenAlbum() const { return mChosen; }
    // What each source asked came back with, in the order they ended.
    const QList<SourceReport>& sourceReports() const { return mSourceReports; }
    const QString& errorMessage() const { return mErrorMessage; }

    Q_INVOKABLE void sourceCompleted(WebDBInterface* source);

signals:
    void finished();

private:
    void finish();

    Query mQuery;
    QStringList mSources;
    QVariantMap mResources;
    QStringList mAsked;
    AlbumChooser::Method mMethod = AlbumChooser::Method::EarliestYear;
    bool mAllowSubstrings = false;
    float mMinImageWidth = 0.0f;
    bool mFinished = false;
    std::vector<std::unique_ptr<WebDBInterface>> mInUse;
    QList<AlbumInfo> mGathered;
    QList<SourceReport> mSourceReports;
    QList<AlbumInfo> mPruned;
    std::optional<AlbumInfo> mChosen;
    QString mErrorMessage;
};
