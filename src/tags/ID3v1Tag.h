#pragma once

#include <QByteArray>
#include <QByteArrayView>

class MP3InfoTag;

// The 128-byte ID3v1/v1.1 block at the end of an MP3 file: "TAG", title,
// artist and album of 30 bytes, a 4-byte year, a comment, and in v1.1 a
// track byte, then a genre index.
class ID3v1Tag
{
public:
    static constexpr qsizetype kSize = 128;

    // Stores the block's values in the tag where it has no frame of that id
    // yet, and sets the read version "1.1" / "1.0" when none is set.
    static void read(MP3InfoTag& tag, QByteArrayView block);
    // The ID3v1.1 block of the tag's values (ISO-8859-1, cut to the fields).
    static QByteArray data(const MP3InfoTag& tag);
    // True when the block can hold every value of the tag.
    static bool canHoldWithoutLoss(const MP3InfoTag& tag);
};
