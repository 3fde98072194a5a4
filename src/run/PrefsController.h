#pragma once

#include <QString>
#include <QVariantMap>


// Where the songs of a session come from; stored under "_source".
enum class SongSourceKind : int
{
    Folder = 0,
    Playlist = 1,
    Library = 2
};

// The one preferences controller. It answers the user's settings (QSettings,
// read at every call so that a change takes effect at the next use, each
// with its default when absent) and, through LiveResources, the live
// resources.
class PrefsController
{
public:
    static PrefsController& sharedInstance();

    // ---- artwork
    // Smallest acceptable artwork width in pixels; 0 = no minimum.
    float minimumImageSize() const;
    // Largest artwork width kept as it is; 32767 = no limit.
    float maximumImageSize() const;
    // Existing artwork narrower than this is replaced when overwriting
    // artwork; 32767 (the default) = always; 1000 or more also replaces
    // artwork iTunes keeps outside the file.
    float overwriteImageThreshold() const;
    bool ignoreNonSquareArtwork() const;
    bool noiTunesArtwork() const;
    // Stores the sizes as the panel does: the maximum is pulled up to the
    // minimum, a maximum at `sliderTop` means no limit (32767), a minimum at
    // `sliderBottom` means none (0), a threshold at `sliderTop` means always.
    void storeImageSizes(float minimum, float maximum, float threshold, float sliderBottom, float sliderTop);

    // ---- files, cache, iTunes
    bool keepiTunesRefreshed() const;
    int cacheSizeMB() const;
    bool writeSpecCorrectID3v24() const;
    // Stores "id3v24Accurate" and hands it to the ID3 writer.
    void setWriteSpecCorrectID3v24(bool accurate);
    // Hands the stored tag-writing setting to the ID3 writer.
    void applyTagWritingSettings() const;
    int updateCheckLevel() const;

    // ---- window state kept here
    bool filterLyrics() const;
    void setFilterLyrics(bool lyrics);
    bool drawerIsOpen() const;
    void setDrawerOpen(bool open);

    // ---- the song source
    // The stored kind; when none is stored, the iTunes library when it can
    // be reached (and then stored), else a folder.
    SongSourceKind librarySource();
    // The folder used as the source (the home folder's "Music" by default,
    // stored on first use). Setting a null path removes the key.
    QString libraryDirectory();
    void setLibraryDirectory(const QString& path);
    QString libraryPlaylist() const;
    void setLibraryPlaylist(const QString& name);
    void setiTunesLibrary();

    // Removes the panel's settings so that every accessor answers its
    // default; the check boxes, the lyrics filter and the source stay.
    void useDefaults();

    // Loaded once, then kept until getUserPreferences() drops it.
    QVariantMap liveResources();
    // Drops the cached resource dictionary; the next liveResources() reloads.
    void getUserPreferences();

    // Where a newer resource dictionary is kept once fetched.
    static QString cachedResourcesPath();
    // Merges `overlay` over `base`: top-level keys replace, except that a
    // "res_" section that is a dictionary on both sides is merged key by key.
    static QVariantMap mergedResources(const QVariantMap& base, const QVariantMap& overlay);

private:
    PrefsController() = default;
};
