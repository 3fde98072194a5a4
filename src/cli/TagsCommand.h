#pragma once

#include <QByteArray>
#include <QList>
#include <QStringList>

#include <cstdio>

class AudioInfoTag;

// `quillbeat-cli tags [--json] FILE...`: for each file its type, the tag
// version read, every tag value, the pictures, the audio properties and
// whether the reader met damage. With --json one compact JSON object per
// file and line. Exit code 1 when a file has no readable tag. A file whose
// name is not UTF-8 can't be opened: it is reported by the name as the shell
// shows it, on standard error and, with --json, in its line's "error".
class TagsCommand
{
public:
    TagsCommand(QStringList arguments, std::FILE* out, std::FILE* err);
    // The same arguments as the system handed them over, when known.
    void setRawArguments(QList<QByteArray> raw) { mRawArguments = std::move(raw); }
    int run();

    // The JSON description of one file's tag (keys listed in the README),
    // every key present: null for what the file lacks, and all but path,
    // type, readable and error null for a file without a readable tag, whose
    // `error` says why.
    static QByteArray jsonForTag(const QString& path, int dataType, const AudioInfoTag* tag,
                                 const QString& error = QString());
    // The same as readable lines.
    static QString textForTag(const QString& path, int dataType, const AudioInfoTag* tag);

private:
    QStringList mArguments;
    QList<QByteArray> mRawArguments;
    std::FILE* mOut;
    std::FILE* mErr;
};
