#pragma once

#include "tags/ID3Image.h"

#include <QDockWidget>
#include <QImage>
#include <QList>

#include <memory>

class QLabel;
class QMimeData;
class QToolButton;
class SongFile;

// The artwork view beside the table: the selected song's pictures, one at a
// time with previous and next, each with its pixel size, format and bytes.
// A picture dropped on it (a file from the file manager, or image data from
// a web browser) or pasted into it is handed on for the selection; Delete or
// the remove button asks to remove the picture shown. For several songs it
// says how many are selected. The pictures are read from the song's file
// when it is shown; one that is damaged or too large is described, not
// drawn.
class ArtworkPanel : public QDockWidget
{
    Q_OBJECT

public:
    explicit ArtworkPanel(QWidget* parent = nullptr);

    void showSongs(const QList<std::shared_ptr<SongFile>>& songs);
    // Reads the shown song's pictures again (after a write), showing the
    // picture at `index` (-1: the last one) when there is one.
    void reload(int index = 0);
    void showPicture(int index);

    int pictureCount() const { return int(mPictures.size()); }
    int currentIndex() const { return mIndex; }
    // The picture shown; null without one.
    ID3Image currentPicture() const;
    // What the view says about the picture shown, or why none is shown.
    QString descriptionText() const;

    // The picture of a paste or a drop, handed on as a file or as image
    // data (called `name` in what is said about it); false when it holds
    // none.
    bool takePicture(const QMimeData* mime, const QString& name);

signals:
    void pictureFileGiven(const QString& path);
    void pictureImageGiven(const QImage& image, const QString& name);
    // A drop or paste that holds no picture, in words.
    void unusablePicture(const QString& text);
    void removeRequested();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void readPictures();
    void updateControls();

    QWidget* mPicture;
    QLabel* mInfo;
    QLabel* mPosition;
    QToolButton* mPrevious;
    QToolButton* mNext;
    QToolButton* mRemove;
    QList<std::shared_ptr<SongFile>> mSongs;
    QList<ID3Image> mPictures;
    QImage mShown;
    // Why there is no picture, and what the view says instead of one.
    QString mMessage;
    QString mShownMessage;
    int mIndex = 0;
    bool mStale = false;
};
