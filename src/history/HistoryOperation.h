#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

// What kind of command made an operation of the change history. The names
// are stored.
enum class OperationKind
{
    Run = 1,
    Set = 2,
    Regenerate = 3,
    Edit = 4,
    Artwork = 5,
    Lyrics = 6,
    Undo = 7,
    Redo = 8
};

// One operation of the change history as it is listed.
struct HistoryOperation
{
    qint64 id = 0;
    QDateTime time; // UTC
    OperationKind kind = OperationKind::Set;
    QString source;      // what it ran on: a folder, the library, the files of a command
    qint64 files = 0;    // files changed
    qint64 undoes = 0;   // for an undo: the operation it took back; for a redo: the one it did again
    QString note;        // what could not be recorded, when anything

    static QString nameOf(OperationKind kind);
    static std::optional<OperationKind> kindNamed(const QString& name);
};
