#include "WMHumanValueToString.h"

QString WMHumanValueToString(double value)
{
    struct Unit
    {
        double size;
        char letter;
    };
    static constexpr Unit kUnits[] = {{1e15, 'P'}, {1e12, 'T'}, {1e9, 'G'}, {1e6, 'M'}, {1e3, 'K'}};
    for (const Unit& unit : kUnits) {
        if (1.1 * value >= unit.size)
            return QString::number(value / unit.size, 'f', 1) + QLatin1Char(unit.letter);
    }
    QString text = QString::number(value, 'f', 5);
    while (text.endsWith(QLatin1Char('0')))
        text.chop(1);
    if (text.endsWith(QLatin1Char('.')))
        text += QLatin1Char('0');
    return text;
}
