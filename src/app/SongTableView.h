#pragma once

#include <QList>
#include <QString>
#include <QTableView>

#include <memory>

class ColumnLayout;
class SongFile;
class SongItemDelegate;
class SongTableModel;

// The song table: fixed-height rows, a sortable header whose columns the
// user may hide, move and resize, editing from the keyboard (F2 or Enter
// starts, Enter commits and goes down, Escape cancels), and a folder dropped
// on it becomes the song source.
class SongTableView : public QTableView
{
    Q_OBJECT

public:
    // Milliseconds between the drop of a folder and its loading.
    static constexpr int kDropDelayMs = 250;

    explicit SongTableView(SongTableModel* model, QWidget* parent = nullptr);

    SongTableModel* songModel() const { return mModel; }
    ColumnLayout* columnLayout() const { return mColumns; }
    // The songs of the selected rows, in table order.
    QList<std::shared_ptr<SongFile>> selectedSongs() const;
    // Writes the value of an editor that is open, as if Enter was pressed.
    void commitOpenEditor();
    // The rows in view: first and count.
    QPair<int, int> visibleRows() const;
    // The first existing folder among local files (the last one first).
    static QString droppedFolder(const QMimeData* mime);

signals:
    void headerClicked(int column);
    void folderDropped(const QString& path);
    // The rows in view changed (scrolled or resized).
    void visibleRowsChanged();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void moveDown();
    void updateSortIndicator(const QString& identifier, bool descending);

    SongTableModel* mModel;
    SongItemDelegate* mDelegate;
    ColumnLayout* mColumns = nullptr;
    // A folder is being dragged over the table: it is outlined.
    bool mIsDragFocus = false;
};
