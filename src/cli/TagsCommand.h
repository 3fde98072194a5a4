#pragma once

#include <QByteArray>
#include <QStringList>

#include <cstdio>

class AudioInfoTag;

// `quillbeat-cli tags [--json] FILE...`: for each file its type, the tag
// version read, every tag value, the pictures, the audio properties and
// whether the reader met damage. With --json one compact JSON object per
// file and line. Exit code 1 when a file has no readable tag.
class TagsCommand
{
public:
    TagsCommand(QStringList arguments, std::FILE* out, std::FILE* err);
    int run();

    // The JSON description of one file's tag (keys listed in the README), as
    // one compact line of UTF-8 without its line end.
    static QByteArray jsonForTag(const QString& path, int dataType, const AudioInfoTag* tag);
    // The same as readable lines.
    static QString textForTag(const QString& path, int dataType, const AudioInfoTag* tag);

private:
    QStringList mArguments;
    std::FILE* mOut;
    std::FILE* mErr;
};
