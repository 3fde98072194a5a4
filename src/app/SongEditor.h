#pragma once

#include "SongColumns.h"

#include <QObject>
#include <QString>
#include <QVariant>

#include <memory>

class WindowHistory;
class SongFile;

// Changes one value of a song from the table and writes its file at once,
// through the core's SongChangeBatch like every change the window makes
// (the run's own crash-safe write, the cache renewed, a failure logged in
// red), as one operation "edit" of the change history (Edit > Undo takes
// it back). A value equal to the one shown (empty and absent
// count as equal) writes nothing. A read-only or damaged file, one that is
// gone, or one another program changed since it was shown is left alone and
// the user is told why.
class SongEditor : public QObject
{
    Q_OBJECT

public:
    explicit SongEditor(WindowHistory& history, QObject* parent = nullptr);

    // Artist, title, album, track, year, genre and BPM take text; the
    // compilation column takes a boolean. True when the file was written.
    bool setValue(const std::shared_ptr<SongFile>& song, SongColumn column, const QVariant& value);

signals:
    // Why an edit was not written, in words for the user.
    void problem(const QString& text);
    // The song's value in the column changed (its file was written).
    void valueChanged(const std::shared_ptr<SongFile>& song, SongColumn column);

private:
    WindowHistory& mHistory;
};
