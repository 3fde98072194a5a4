#pragma once

#include <QString>

// The character rules of our phonetic key (a Metaphone variant). The caller
// has already lower-cased the word, collapsed doubled characters and applied
// the rules for the first two characters.
class PhoneticKey
{
public:
    // Appends the key of the n characters at w to key. At each position the
    // substrings ahead (two, three, four characters) and around (the
    // character before with one or two after) are only formed where they fit
    // inside the word, and never at the first or last character for the
    // ones around; a test against a substring that is not formed fails.
    static void appendKey(const char16_t* w, qsizetype n, QString& key);
};
