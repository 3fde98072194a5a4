#pragma once

#include <QStringList>

#include <cstdio>

// `quillbeat-cli regenerate FILE...`: rebuilds the tag of each file by
// reading it again in the forgiving mode and writing the clean tag back,
// keeping its pictures. Exit code 0 when every file was regenerated.
class RegenerateCommand
{
public:
    RegenerateCommand(QStringList arguments, std::FILE* out, std::FILE* err);
    int run();

private:
    QStringList mArguments;
    std::FILE* mOut;
    std::FILE* mErr;
};
