#pragma once

#include "ChangeOrigin.h"
#include "TagSnapshot.h"

#include <QString>

// How changes read on screen: one attribute's value (`"1999"`, a lyrics
// preview, `1 picture(s), 48210 bytes`), one change (`year: "" → "1999"`)
// and where a value came from (`from sibling 02 Song.mp3`).
class ChangeText
{
public:
    static QString value(const TagSnapshot& values, TagAttribute attribute);
    static QString change(TagAttribute attribute, const TagSnapshot& before, const TagSnapshot& after);
    static QString origin(const ChangeOrigin& origin);
};
