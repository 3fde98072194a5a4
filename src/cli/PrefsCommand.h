#pragma once

#include <QStringList>

#include <cstdio>

// `quillbeat-cli prefs [KEY [VALUE]]`: without arguments every setting with
// its value (or default) and meaning, the user's choices first and the state
// the window keeps for itself apart; with a key its value; with a value
// stores it, converted to the key's type and checked against its range. A
// misspelt key is answered with the nearest one. `prefs --reset KEY`
// removes a stored value so that the default applies again.
class PrefsCommand
{
public:
    PrefsCommand(QStringList arguments, std::FILE* out, std::FILE* err);
    int run();

private:
    QString listing() const;

    QStringList mArguments;
    std::FILE* mOut;
    std::FILE* mErr;
};
