#pragma once

#include <QStringList>

#include <cstdio>

// `quillbeat-cli prefs [KEY [VALUE]]`: without arguments every setting with
// its value (or default), type and meaning; with a key its value; with a
// value stores it, converted to the key's type. `prefs --reset KEY` removes
// a stored value so that the default applies again.
class PrefsCommand
{
public:
    PrefsCommand(QStringList arguments, std::FILE* out, std::FILE* err);
    int run();

private:
    QStringList mArguments;
    std::FILE* mOut;
    std::FILE* mErr;
};
