#pragma once

#include "SongColumns.h"

#include <QAbstractTableModel>
#include <QList>
#include <QString>
#include <QTimer>

#include <memory>

class SongEditor;
class SongFile;

// The song table's rows: the songs of the source that pass the search, in
// table order. All songs are kept in table order too, so that a search only
// picks from them and a sort is never needed after a search. Sorting and
// searching work on the lists with the core's comparisons and filter and are
// announced as one layout change (selected songs stay selected), never row
// by row. Values, icons, tool tips and the words a screen reader says come
// through the usual roles; edits go to the SongEditor.
class SongTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    using SongList = QList<std::shared_ptr<SongFile>>;

    explicit SongTableModel(QObject* parent = nullptr);

    // Edits are handed to the editor; without one nothing is editable.
    void setEditor(SongEditor* editor);

    // ---- the songs
    // A new source, sorted by the column given (its identifier; empty: the
    // order of `songs`), with no search.
    void setSongs(const SongList& songs, const QString& sortColumn, bool descending);
    const SongList& allSongs() const { return mOrdered; }
    const SongList& visibleSongs() const { return mVisible; }
    std::shared_ptr<SongFile> songAt(int row) const;

    // ---- order
    QString sortColumn() const { return mSortColumn; }
    bool sortDescending() const { return mDescending; }
    // A click on a header: the sorted column flips (the rows are reversed,
    // not sorted again); another column sorts in its first direction.
    void clickColumn(SongColumn column);
    // Sorts by a column (its identifier; empty: none) in a direction.
    void sortBy(const QString& identifier, bool descending);
    // The order is no longer true: no column is sorted, the rows stay.
    void dropSort();

    // ---- search
    void setSearch(const QString& text, bool searchLyrics);
    QString searchText() const { return mSearchText; }
    bool searchesLyrics() const { return mSearchLyrics; }

    // Values, statuses or indicators changed: the rows are drawn again.
    void refreshAll();
    // Whether the art column asks iTunes about artwork it keeps.
    void setNoiTunesArtwork(bool noiTunesArtwork);

    // ---- QAbstractTableModel
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

signals:
    // The rows changed order or membership (the run follows the new order).
    void rowsReordered();
    void sortChanged(const QString& identifier, bool descending);

private:
    // Runs a change of the lists as one layout change, moving the
    // persistent indexes (the selection) with their songs.
    template <typename Change> void changeLayout(Change change);
    void applySearch(const SongList& from);
    // Works out for the songs whose iTunes artwork is unknown whether iTunes
    // keeps any; true when any became known.
    static bool identifyiTunesArtwork(const SongList& songs);
    void songValueChanged(const std::shared_ptr<SongFile>& song, SongColumn column);

    SongList mOrdered;
    SongList mVisible;
    QString mSortColumn;
    bool mDescending = false;
    QString mSearchText;
    bool mSearchLyrics = false;
    bool mNoiTunesArtwork = false;
    SongEditor* mEditor = nullptr;
    // Songs whose iTunes artwork is not known yet are asked about in a
    // batch, a moment after they are first shown.
    mutable QTimer mIdentifyTimer;
};
