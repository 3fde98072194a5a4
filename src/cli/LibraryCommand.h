#pragma once

#include <QStringList>

#include <cstdio>

// `quillbeat-cli library [--xml FILE] [--json] [--playlists]`: the library
// export chosen (or given), its music folder, persistent ID and counts.
class LibraryCommand
{
public:
    LibraryCommand(QStringList arguments, std::FILE* out, std::FILE* err);
    int run();

private:
    QStringList mArguments;
    std::FILE* mOut;
    std::FILE* mErr;
};
