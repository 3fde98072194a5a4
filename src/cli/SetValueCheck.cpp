#include "SetValueCheck.h"

#include "support/LocalizedStrings.h"

namespace {

std::optional<QString> refuse(const QString& option, const QString& value, const QString& rule,
                              QString* refusal)
{
    if (refusal)
        *refusal = LocalizedStrings::format(QStringLiteral("CliRefusedValue"), option, value, rule);
    return std::nullopt;
}

} // namespace

std::optional<int> SetValueCheck::number(QStringView text, int minimum, int maximum)
{
    // Nine digits keep the sum inside an int; the range check does the rest.
    if (text.isEmpty() || text.size() > 9)
        return std::nullopt;
    int value = 0;
    for (const QChar c : text) {
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return std::nullopt;
        value = value * 10 + (c.unicode() - '0');
    }
    if (value < minimum || value > maximum)
        return std::nullopt;
    return value;
}

std::optional<QString> SetValueCheck::checked(const QString& option, const QString& value, QString* refusal)
{
    if (option == QLatin1String("--compilation")) {
        if (value != QLatin1String("yes") && value != QLatin1String("no"))
            return refuse(option, value, LocalizedStrings::text(QStringLiteral("ValueRuleYesNo")), refusal);
        return value;
    }
    if (value.isEmpty())
        return value;
    if (option == QLatin1String("--year")) {
        if (value.size() != 4 || !number(value, kMinimumYear, kMaximumYear))
            return refuse(option, value,
                          LocalizedStrings::format(QStringLiteral("ValueRuleYear"), qint64(kMinimumYear),
                                                   qint64(kMaximumYear)),
                          refusal);
        return value;
    }
    if (option == QLatin1String("--track")) {
        const qsizetype slash = value.indexOf(QLatin1Char('/'));
        const QStringView text(value);
        const std::optional<int> track = number(slash < 0 ? text : text.left(slash), 1, kMaximumNumber);
        const std::optional<int> total =
            slash < 0 ? std::optional<int>(0) : number(text.mid(slash + 1), 1, kMaximumNumber);
        if (!track || !total)
            return refuse(option, value,
                          LocalizedStrings::format(QStringLiteral("ValueRuleTrack"), qint64(kMaximumNumber)),
                          refusal);
        return *total == 0 ? QString::number(*track) : QStringLiteral("%1/%2").arg(*track).arg(*total);
    }
    if (option == QLatin1String("--bpm")) {
        const std::optional<int> tempo = number(value, 1, kMaximumNumber);
        if (!tempo)
            return refuse(option, value,
                          LocalizedStrings::format(QStringLiteral("ValueRuleTempo"), qint64(kMaximumNumber)),
                          refusal);
        return QString::number(*tempo);
    }
    return value;
}
