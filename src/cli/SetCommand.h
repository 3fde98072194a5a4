#pragma once

#include <QStringList>

#include <cstdio>

class AudioInfoTag;

// `quillbeat-cli set FILE... [--title T] [--artist A] [--album B] [--year Y]
// [--genre G] [--track N[/M]] [--bpm N] [--compilation yes|no]
// [--lyrics-file F | --no-lyrics] [--add-picture IMAGE] [--remove-pictures]`:
// changes the tag of each file through the tag model and writes it. A value
// that can't be stored refuses the whole command before any file is read; a
// file that already holds every value is not rewritten. A file that cannot
// be written is left untouched; its error is printed and the exit code is 1
// (2 for a usage error or a refused value).
class SetCommand
{
public:
    SetCommand(QStringList arguments, std::FILE* out, std::FILE* err);
    int run();

private:
    // Parses the options into mChanges, each value checked (SetValueCheck);
    // false (message printed, `status` set) on misuse, for help, or when
    // nothing is to change.
    bool parse(int* status);
    // Applies the parsed changes to one tag; `changed` tells whether any
    // value differed from what the tag held.
    bool apply(AudioInfoTag& tag, bool* changed);
    void fail(const QString& key, const QString& argument = QString());

    QStringList mArguments;
    std::FILE* mOut;
    std::FILE* mErr;
    QStringList mPaths;
    QList<std::pair<QString, QString>> mChanges;
    QByteArray mPictureData;
    QString mPictureMime;
};
