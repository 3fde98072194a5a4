#include "SongTableModel.h"

#include "AppIcons.h"
#include "SongCells.h"
#include "SongEditor.h"

#include "library/iTunesScriptRunner.h"
#include "run/MainController.h"
#include "songs/SongFile.h"
#include "songs/SongFileComparisons.h"
#include "songs/SongFilter.h"

#include <QHash>

#include <algorithm>

namespace {

constexpr int kIdentifyDelayMs = 100;
constexpr qsizetype kFewPersistentIndexes = 8;

} // namespace

SongTableModel::SongTableModel(QObject* parent) : QAbstractTableModel(parent)
{
    mIdentifyTimer.setSingleShot(true);
    mIdentifyTimer.setInterval(kIdentifyDelayMs);
    connect(&mIdentifyTimer, &QTimer::timeout, this, [this] {
        if (identifyiTunesArtwork(mVisible))
            refreshAll();
    });
}

void SongTableModel::setEditor(SongEditor* editor)
{
    mEditor = editor;
    if (editor)
        connect(editor, &SongEditor::valueChanged, this, &SongTableModel::songValueChanged);
}

void SongTableModel::setNoiTunesArtwork(bool noiTunesArtwork)
{
    mNoiTunesArtwork = noiTunesArtwork;
    refreshAll();
}

// ---- the songs

void SongTableModel::setSongs(const SongList& songs, const QString& sortColumn, bool descending)
{
    // Without iTunes running nothing is asked of it: whether it keeps artwork
    // for the songs is settled at once rather than a moment after they show.
    if (!iTunesScriptRunner::isiTunesRunning())
        identifyiTunesArtwork(songs);
    beginResetModel();
    mSortColumn = SongColumns::indexOf(sortColumn) >= 0 ? sortColumn : QString();
    mDescending = descending;
    mSearchText.clear();
    mOrdered = songs;
    if (!mSortColumn.isEmpty())
        SongFileComparisons::sortSongs(mOrdered, mSortColumn, mDescending);
    mVisible = mOrdered;
    endResetModel();
    emit sortChanged(mSortColumn, mDescending);
    emit rowsReordered();
}

std::shared_ptr<SongFile> SongTableModel::songAt(int row) const
{
    return row >= 0 && row < mVisible.size() ? mVisible.at(row) : nullptr;
}

template <typename Change> void SongTableModel::changeLayout(Change change)
{
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    QList<const SongFile*> songsBefore;
    songsBefore.reserve(before.size());
    for (const QModelIndex& index : before)
        songsBefore.append(index.row() < mVisible.size() ? mVisible.at(index.row()).get() : nullptr);
    change();
    if (!before.isEmpty()) {
        // The new row of each song: a look through the rows for a few
        // (the current cell), a table of all rows for a large selection.
        QHash<const SongFile*, int> rowOf;
        const bool few = before.size() <= kFewPersistentIndexes;
        if (!few) {
            rowOf.reserve(mVisible.size());
            for (int row = 0; row < mVisible.size(); ++row)
                rowOf.insert(mVisible.at(row).get(), row);
        }
        const auto newRow = [&](const SongFile* song) {
            if (!few)
                return rowOf.value(song, -1);
            const auto found =
                std::find_if(mVisible.cbegin(), mVisible.cend(),
                             [song](const std::shared_ptr<SongFile>& s) { return s.get() == song; });
            return found == mVisible.cend() ? -1 : int(found - mVisible.cbegin());
        };
        QModelIndexList after;
        after.reserve(before.size());
        for (qsizetype i = 0; i < before.size(); ++i) {
            const int row = newRow(songsBefore.at(i));
            after.append(row < 0 ? QModelIndex() : index(row, before.at(i).column()));
        }
        changePersistentIndexList(before, after);
    }
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
    emit rowsReordered();
}

// ---- order

void SongTableModel::clickColumn(SongColumn column)
{
    const QString identifier = SongColumns::identifier(column);
    if (identifier == mSortColumn && !mSortColumn.isEmpty()) {
        changeLayout([this] {
            std::reverse(mOrdered.begin(), mOrdered.end());
            std::reverse(mVisible.begin(), mVisible.end());
        });
        mDescending = !mDescending;
        emit sortChanged(mSortColumn, mDescending);
        return;
    }
    if (!SongColumns::isSortable(column))
        return;
    sortBy(identifier, SongColumns::sortsDescendingFirst(column));
}

void SongTableModel::sortBy(const QString& identifier, bool descending)
{
    mSortColumn = SongColumns::indexOf(identifier) >= 0 ? identifier : QString();
    mDescending = descending;
    if (mSortColumn.isEmpty()) {
        emit sortChanged(mSortColumn, mDescending);
        return;
    }
    changeLayout([this] {
        SongFileComparisons::sortSongs(mOrdered, mSortColumn, mDescending);
        applySearch(mOrdered);
    });
    emit sortChanged(mSortColumn, mDescending);
}

void SongTableModel::dropSort()
{
    if (mSortColumn.isEmpty())
        return;
    mSortColumn.clear();
    emit sortChanged(mSortColumn, mDescending);
}

// ---- search

void SongTableModel::applySearch(const SongList& from)
{
    mVisible = SongFilter::songsMatching(from, mSearchText, mSearchLyrics);
}

void SongTableModel::setSearch(const QString& text, bool searchLyrics)
{
    if (text == mSearchText && searchLyrics == mSearchLyrics)
        return;
    // Typing on narrows the search: only the songs shown need a look.
    const bool narrows = searchLyrics == mSearchLyrics && SongFilter::narrows(mSearchText, text);
    mSearchText = text;
    mSearchLyrics = searchLyrics;
    changeLayout([this, narrows] { applySearch(narrows ? SongList(mVisible) : mOrdered); });
}

// ---- values

void SongTableModel::refreshAll()
{
    if (mVisible.isEmpty())
        return;
    emit dataChanged(index(0, 0), index(int(mVisible.size()) - 1, SongColumns::kCount - 1));
}

void SongTableModel::songValueChanged(const std::shared_ptr<SongFile>& song, SongColumn column)
{
    Q_UNUSED(song);
    if (SongColumns::identifier(column) == mSortColumn)
        dropSort();
    refreshAll();
}

bool SongTableModel::identifyiTunesArtwork(const SongList& songs)
{
    QList<SongFile*> unknown;
    for (const std::shared_ptr<SongFile>& song : songs) {
        if (song->hasiTunesArtwork() < 0)
            unknown.append(song.get());
    }
    MainController::identifyiTunesArtworkForSongs(unknown);
    return std::any_of(unknown.cbegin(), unknown.cend(),
                       [](SongFile* song) { return song->hasiTunesArtwork() >= 0; });
}

int SongTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(mVisible.size());
}

int SongTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : SongColumns::kCount;
}

QVariant SongTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= mVisible.size() || index.column() >= SongColumns::kCount)
        return {};
    SongFile& song = *mVisible.at(index.row());
    const SongColumn column = SongColumns::at(index.column());
    switch (role) {
    case Qt::DisplayRole:
        return SongCells::displayText(song, column, index.row());
    case Qt::EditRole:
        if (column == SongColumn::Compilation)
            return SongCells::isCompilation(song);
        return SongCells::editText(song, column);
    case Qt::DecorationRole: {
        if (!SongColumns::isIconColumn(column))
            return {};
        if (column == SongColumn::Art) {
            const QImage art = SongCells::artwork(song, mNoiTunesArtwork);
            if (!art.isNull())
                return art;
        }
        const QString name = SongCells::iconName(song, column, mNoiTunesArtwork);
        if (name == QLatin1String("iTunesMini-Unknown-Placeholder") && song.hasiTunesArtwork() < 0 &&
            !mNoiTunesArtwork && !mIdentifyTimer.isActive())
            mIdentifyTimer.start();
        return name.isEmpty() ? QVariant() : QVariant(AppIcons::icon(name));
    }
    case Qt::ToolTipRole: {
        const QString tip = SongCells::toolTip(song, column);
        return tip.isEmpty() ? QVariant() : QVariant(tip);
    }
    case Qt::AccessibleTextRole: {
        const QString words = SongCells::accessibleText(song, column, mNoiTunesArtwork);
        return words.isEmpty() ? QVariant() : QVariant(words);
    }
    case Qt::CheckStateRole:
        if (column != SongColumn::Compilation)
            return {};
        return SongCells::isCompilation(song) ? Qt::Checked : Qt::Unchecked;
    case Qt::TextAlignmentRole:
        if (SongColumns::isNumeric(column))
            return QVariant(Qt::AlignRight | Qt::AlignVCenter);
        return {};
    default:
        return {};
    }
}

bool SongTableModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    const std::shared_ptr<SongFile> song = songAt(index.row());
    if (!song || !mEditor)
        return false;
    const SongColumn column = SongColumns::at(index.column());
    QVariant wanted = value;
    if (role == Qt::CheckStateRole && column == SongColumn::Compilation)
        wanted = value.toInt() == Qt::Checked;
    else if (role != Qt::EditRole)
        return false;
    const bool written = mEditor->setValue(song, column, wanted);
    // The row shows what the file holds now, written or not.
    emit dataChanged(this->index(index.row(), 0), this->index(index.row(), SongColumns::kCount - 1));
    return written;
}

Qt::ItemFlags SongTableModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
    const std::shared_ptr<SongFile> song = songAt(index.row());
    if (!song || !mEditor)
        return flags;
    const SongColumn column = SongColumns::at(index.column());
    // A song being looked up is not edited under the lookup's feet; the
    // editor explains why read-only and damaged files are not written.
    if (SongColumns::isEditableText(column) && song->activityStatus() != SongActivityStatus::Gathering)
        flags |= Qt::ItemIsEditable;
    if (column == SongColumn::Compilation && SongCells::canChangeCompilation(*song))
        flags |= Qt::ItemIsUserCheckable;
    return flags;
}

QVariant SongTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section >= SongColumns::kCount)
        return QAbstractTableModel::headerData(section, orientation, role);
    const SongColumn column = SongColumns::at(section);
    switch (role) {
    case Qt::DisplayRole:
        return SongColumns::title(column);
    case Qt::AccessibleTextRole:
        return SongColumns::accessibleTitle(column);
    case Qt::ToolTipRole:
        return SongColumns::headerToolTip(column);
    case Qt::TextAlignmentRole:
        if (SongColumns::isNumeric(column))
            return QVariant(Qt::AlignRight | Qt::AlignVCenter);
        return {};
    default:
        return {};
    }
}
