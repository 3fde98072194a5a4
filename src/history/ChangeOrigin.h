#pragma once

#include <QString>

#include <optional>

// Where a new value of a change came from: the user (an edit, a `set`), a
// sibling song of the same album (the detail is its path), a web source (the
// detail names the source and the album record: a release identifier or the
// page address), a tag rebuilt from what could be read of it, an undo (the
// detail is the operation taken back), or the song's path, for a song that
// had no such tag value ("Artist/Album/01 Title.mp3").
struct ChangeOrigin
{
    enum class Kind
    {
        User = 1,
        Sibling = 2,
        WebSource = 3,
        RebuiltTag = 4,
        Undo = 5,
        FilePath = 6
    };

    Kind kind = Kind::User;
    QString detail;

    static QString nameOf(Kind kind);
    static std::optional<Kind> kindNamed(const QString& name);
    bool operator==(const ChangeOrigin&) const = default;
};
