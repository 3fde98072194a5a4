#pragma once

#include "SafeFileRewriter.h"

#include <QList>
#include <QString>

class AACInfoTag;
class Atom;

// Saves an AACInfoTag into its MPEG-4 file. The item list is edited in the
// atom tree with free-space compensation on (a file without one is given
// "moov:udta:meta" with its handler and "ilst"); the top-level atoms whose bytes
// changed become replacements of their file regions, and the media data are
// never read: the crash-safe rewriter keeps them and shifts them when the
// movie atom changed length, in which case the chunk offsets of the (single)
// track are corrected first. Files whose media would move but whose chunk
// offsets cannot be corrected safely (64-bit table, several tracks) are
// refused untouched.
class AACFileWriter
{
public:
    explicit AACFileWriter(QString path);

    // False on failure with a reason in `errorText`.
    bool write(const AACInfoTag& tag, QString* errorText);
    // After a successful write: whether the media data kept their place.
    bool keptMediaInPlace() const { return mKeptMediaInPlace; }

    // Puts the tag's values into the item list `ilst`, creating, replacing
    // and removing item atoms. A value that cannot be made sets the reason
    // and is skipped.
    static void writeItems(const AACInfoTag& tag, Atom* ilst, QString* errorText);

private:
    bool writeTree(const AACInfoTag& tag, Atom* root, QString* errorText);

    QString mPath;
    QList<FileEdit> mPendingEdits;
    bool mKeptMediaInPlace = false;
};
