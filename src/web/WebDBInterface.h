#pragma once

#include "web/AlbumAsset.h"
#include "web/AlbumInfo.h"
#include "web/SourceFailure.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <QVariant>
#include <QVariantList>
#include <QVariantMap>

#include <functional>
#include <memory>

class ProgressIndicator;

// The base of every web source. It holds what the source is asked for
// (artist, song title, album title), the albums it has gathered, and a small
// scheduler that feeds the source's URLs to the shared HTTP queue a few at a
// time, never the same URL twice, and tells the owner once when the last
// answer is in.
//
// A subclass overrides beginSearch() (calling the base first, then queueing
// its URLs with addSearchURL), receives each page in a
// `Q_INVOKABLE void name(const QVariantMap& answer)` that calls
// finishedSearch(answer) first, and calls
// notifyIfCompleteOrTryAgainWithoutTitleParentheses() when it has dealt with
// an answer. Sources are made by class name through interfaceWithName().
class WebDBInterface : public QObject
{
    Q_OBJECT
public:
    using Factory = std::function<std::unique_ptr<WebDBInterface>(const QVariantMap& resources)>;

    // A new source of the registered class `className` with these resources;
    // nothing when the name is empty or unknown. The built-in sources are
    // registered on first use (registerBuiltInWebSources()).
    static std::unique_ptr<WebDBInterface> interfaceWithName(const QString& className,
                                                             const QVariantMap& resources);
    // Makes a class known to interfaceWithName(); a second registration of a
    // name replaces the first.
    static void registerInterfaceClass(const QString& className, Factory factory);
    // The class names known to interfaceWithName(), in the order registered.
    static QStringList registeredClassNames();
    // How a source is named to the user: "MusicBrainz" for
    // "MusicBrainzInterface".
    static QString displayName(const QString& className);
    // Registers T, which has a constructor taking the resources, under its
    // Qt class name.
    template <class T> static void registerInterfaceClass()
    {
        registerInterfaceClass(QString::fromLatin1(T::staticMetaObject.className()),
                               [](const QVariantMap& resources) -> std::unique_ptr<WebDBInterface> {
                                   return std::make_unique<T>(resources);
                               });
    }

    explicit WebDBInterface(const QVariantMap& resources = QVariantMap(), QObject* parent = nullptr);
    ~WebDBInterface() override;

    // The assets this source can supply at all (used as a set of flags when
    // deciding which sources a lookup needs). The base answers every asset.
    virtual AlbumAssets resourcesPossiblyAvailable() const;

    const QVariantMap& resources() const { return mResources; }

    void setArtist(const QString& artist) { mArtist = artist; }
    void setAlternateArtist(const QString& artist) { mAlternateArtist = artist; }
    void setSongTitle(const QString& title) { mSongTitle = title; }
    // Stored with any parenthesised part removed.
    void setAlbumTitle(const QString& title);
    void setIsCompilation(bool compilation) { mIsCompilation = compilation; }
    void setMaxAlbums(int maxAlbums) { mMaxAlbums = maxAlbums; }
    void setMinimumAcceptableImageSize(float width) { mMinImageWidth = width; }
    void setAlbumSelectionMethod(int method) { mAlbumSelectionMethod = method; }
    void setAllowSubstringTrackMatches(bool allow) { mAllowSubstrings = allow; }
    void setProgessIndicator(ProgressIndicator* indicator);
    // At completion `object`'s `Q_INVOKABLE void method(WebDBInterface*
    // source)` (or `method(QObject*)`) is called once, on a later turn of the
    // event loop. The object is held weakly.
    void setNotify(const QByteArray& method, QObject* object);

    const QString& artist() const { return mArtist; }
    const QString& alternateArtist() const { return mAlternateArtist; }
    const QString& songTitle() const { return mSongTitle; }
    const QString& albumTitle() const { return mAlbumTitle; }
    bool isCompilation() const { return mIsCompilation; }
    bool allowsSubstringTrackMatches() const { return mAllowSubstrings; }
    bool isWithoutParentheses() const { return mWithoutParentheses; }
    // The song title to search for: without its parenthesised parts while
    // the search is tried again without them.
    QString searchedTitle() const;

    // Starts the search. The base sets the limit of URLs in flight ("simulConns"
    // when above 0, else 8); a subclass calls it first, then queues its URLs.
    virtual void beginSearch();
    // Drops the waiting URLs; those in flight still arrive and pass through
    // finishedSearch(), so the source still completes once. No URLs are
    // accepted afterwards, and no retry without parentheses is made.
    virtual void cancelSearch();
    bool wasCancelled() const { return mWasCancelled; }

    const QList<AlbumInfo>& albums() const { return mAlbums; }
    // The first failure among the source's answers, or why it did not
    // search; none when every answer came.
    const SourceFailure& failure() const { return mFailure; }

    // Forwards a usage note under this source's class name.
    void notifyUsageDesc(const QString& description, const QString& key, const QVariant& info);

    // "<ClassName 0x... artist='..' song='..' album='..' gathered=N>".
    QString description() const;

    // Scheduled URLs (and placeholders) not yet answered.
    int numberOfLoadingSearches() const { return int(mLoadingURLs.size()); }
    int numberOfWaitingSearches() const { return int(mWaitingURLs.size()); }
    int totalSearches() const { return mTotalSearches; }

protected:
    // Queues a URL whose answer goes to this object's `returnMethod`, at the
    // front of this source's waiting list or at its end. Empty URLs and URLs
    // this source scheduled before are ignored. With the resource
    // "minIntervalSeconds" above 0 the queue spaces requests to the URL's host.
    void addSearchURL(const QUrl& url, const QByteArray& returnMethod, bool atBeginning);
    // Counts work of the source's own as a search in flight, so the search is
    // not complete until the token is handed back to finishedSearch() (under
    // "WMHTTPURLKey"). Equal tokens are handed back together.
    void addPlaceholderSearch(const QVariant& token);
    // Every answer method calls this first: the answer's "WMHTTPURLKey" leaves
    // the loading list, the bar advances and waiting URLs move up. An answer
    // without that key changes nothing.
    void finishedSearch(const QVariantMap& answer);
    // Completes the search once nothing is loading. With `retry`, a search
    // for a title containing "(" under substring matching is first run once
    // more with mWithoutParentheses set.
    void notifyIfCompleteOrTryAgainWithoutTitleParentheses(bool retry);
    void notifySearchComplete();
    // For a source's cancelSearch(): cancels its requests still in the
    // shared queue (which does not answer what it cancels), takes them off
    // the loading list, from the last one, and reports completion.
    void cancelSearchesInQueue();
    // For sources whose first result is enough (lyrics): keeps the album,
    // drops the URLs still waiting and completes once the loading ones are in.
    void endSearchWithAlbum(const AlbumInfo& album);
    // A lyrics page answered: lyrics found in it (by `lyricsInPage`) end the
    // search; a page without them is logged and the search goes on.
    void takeLyricsPage(const QVariantMap& answer,
                        const std::function<QString(const QByteArray&)>& lyricsInPage);
    // For a source that can't search (a key it needs is not set).
    void setFailure(const SourceFailure& failure) { mFailure = failure; }

    QVariantMap mResources;
    QList<AlbumInfo> mAlbums;
    // QUrl values, plus the tokens of addPlaceholderSearch().
    QVariantList mLoadingURLs;
    QList<QUrl> mAlreadyLoadedURLs;
    QList<QUrl> mWaitingURLs;
    QList<QByteArray> mWaitingMethods;
    QList<bool> mWaitingPriorities;
    QString mArtist;
    QString mAlternateArtist;
    QString mSongTitle;
    QString mAlbumTitle;
    QPointer<ProgressIndicator> mProgress;
    QPointer<QObject> mNotifyObject;
    int mMaxAlbums = 50;
    int mAlbumSelectionMethod = 0;
    int mTotalSearches = 0;
    int mMaxSimulSearches = DefaultSimultaneousSearches;
    int mLogNum = 1;
    float mMinImageWidth = 0.0f;
    QByteArray mNotifySelector;
    bool mWasCancelled = false;
    bool mAllowSubstrings = false;
    bool mIsCompilation = false;
    bool mWithoutParentheses = false;
    SourceFailure mFailure;

    static constexpr int DefaultSimultaneousSearches = 8;

private:
    void maintainWaitingURLs();
    void handleRedirectNotification(const QVariantMap& userInfo);
};
