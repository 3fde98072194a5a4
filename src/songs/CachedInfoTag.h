#pragma once

#include "tags/AudioInfoTag.h"

#include <QVariantMap>

// A read-only tag answered from a song information cache entry, so that a
// song can be shown and sorted without opening its file. Its setters and
// picture changes change nothing and only complain: a song gets its real tag
// before anything is changed.
//
// Entry keys: "mod" (the file's modification date), "tit", "perf", "alb",
// "trk", "yr", "gnr", "bpm", "lyr", "dat" (the file properties), "nart"
// (pictures, when not 0), "sart" (artwork bytes), "comp" ("y" for a
// compilation), "icon" (a small image of the first picture) and the older
// "tiff" (TIFF bytes of that icon).
class CachedInfoTag : public AudioInfoTag
{
public:
    // The largest icon an entry keeps.
    static constexpr int kIconWidth = 28;
    static constexpr int kIconHeight = 14;

    CachedInfoTag();
    ~CachedInfoTag() override;

    // A lazy tag made from a song-information cache entry; null without one.
    static std::unique_ptr<AudioInfoTag> tagWithCachedInfo(const QVariantMap& info);

    // The entry for any tag of the file at `path`.
    static QVariantMap infoDictForTag(AudioInfoTag& tag, const QString& path);

    void setCachedInfo(const QVariantMap& info);
    const QVariantMap& cachedInfo() const { return mCachedInfo; }

    QString title() const override;
    QString artist() const override;
    QString album() const override;
    QString track() const override;
    QString year() const override;
    QString genres() const override;
    QString lyrics() const override;
    QString bpm() const override;
    bool isPartOfCompilation() const override;
    int numberOfImages() const override;
    qint64 numberOfArtworkBytes() const override;
    QImage imageIconNoLargerThan(const QSize& size) override;

    void setArtist(const QString& value) override;
    void setTitle(const QString& value) override;
    void setAlbum(const QString& value) override;
    void setYear(const QString& value) override;
    void setGenres(const QString& value) override;
    void setTrack(const QString& value) override;
    void setLyrics(const QString& value) override;
    void setBPM(const QString& value) override;
    void setIsPartOfCompilation(bool value) override;
    bool removeImageAtIndex(int index) override;
    bool addImage(const ID3Image& image) override;
    bool modifySongFileAtPath(const QString& path, QString* errorText) override;

private:
    void whineAboutImmutability(const char* operation) const;
    QString text(const QString& key) const;

    QVariantMap mCachedInfo;
    // The icon made from an old "tiff" entry, once asked for.
    QImage mConvertedIcon;
};
