#pragma once

#include <QColor>

// Colours of the program's own (log lines, notices) adjusted so that they
// stay readable on the palette's background, light or dark.
class ReadableColors
{
public:
    // The contrast the adjusted colours reach at least (as for body text).
    static constexpr double kMinimumContrast = 4.5;

    // The colour's hue kept, its lightness moved away from the background's
    // until the contrast is enough.
    static QColor readableOn(const QColor& wanted, const QColor& background);
    // The contrast ratio of two colours (1 to 21).
    static double contrast(const QColor& a, const QColor& b);
};
