#include "ReadableColors.h"

#include <algorithm>
#include <cmath>

namespace {

double channel(double value)
{
    return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

double luminance(const QColor& color)
{
    const QColor rgb = color.toRgb();
    return 0.2126 * channel(rgb.redF()) + 0.7152 * channel(rgb.greenF()) + 0.0722 * channel(rgb.blueF());
}

} // namespace

double ReadableColors::contrast(const QColor& a, const QColor& b)
{
    const double la = luminance(a);
    const double lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

QColor ReadableColors::readableOn(const QColor& wanted, const QColor& background)
{
    if (contrast(wanted, background) >= kMinimumContrast)
        return wanted;
    // Lighter on a dark background, darker on a light one, in small steps.
    const bool darkBackground = luminance(background) < 0.18;
    QColor hsl = wanted.toHsl();
    float hue = 0, saturation = 0, lightness = 0, alpha = 0;
    hsl.getHslF(&hue, &saturation, &lightness, &alpha);
    for (int step = 0; step < 100; ++step) {
        lightness = std::clamp(lightness + (darkBackground ? 0.02f : -0.02f), 0.0f, 1.0f);
        const QColor candidate = QColor::fromHslF(hue, saturation, lightness, alpha);
        if (contrast(candidate, background) >= kMinimumContrast || lightness <= 0.0f || lightness >= 1.0f)
            return candidate.toRgb();
    }
    return darkBackground ? QColor(Qt::white) : QColor(Qt::black);
}
