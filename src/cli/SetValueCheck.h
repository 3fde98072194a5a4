#pragma once

#include <QString>

#include <optional>

// The checks `set` makes on a value before any file is touched: a number
// must be one that every tag format written here holds and reads back as
// given. A year is four digits from 1000 on (what ID3 and MPEG-4 readers take
// as a year); track number, track total and tempo are whole numbers from 1 to
// 65535 (the 16-bit fields of MPEG-4 items; a track number starts at 1). An
// empty value removes the value from the tag and is accepted, as is any text
// of the text options; compilation is "yes" or "no".
class SetValueCheck
{
public:
    static constexpr int kMinimumYear = 1000;
    static constexpr int kMaximumYear = 9999;
    static constexpr int kMaximumNumber = 0xFFFF;

    // The value as it is stored (numbers without leading zeros), or nothing
    // with `refusal` set to a localised text that names the option, the value
    // and what the option takes.
    static std::optional<QString> checked(const QString& option, const QString& value, QString* refusal);

private:
    // A whole number from `minimum` to `maximum` written in ASCII digits only.
    static std::optional<int> number(QStringView text, int minimum, int maximum);
};
