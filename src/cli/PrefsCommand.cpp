#include "PrefsCommand.h"

#include "CliOutput.h"

#include "run/PreferenceKeys.h"
#include "support/LocalizedStrings.h"

#include <QSettings>

#include <utility>

namespace {

QString shown(const QVariant& value)
{
    if (!value.isValid())
        return QStringLiteral("-");
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    return value.toString();
}

} // namespace

PrefsCommand::PrefsCommand(QStringList arguments, std::FILE* out, std::FILE* err)
    : mArguments(std::move(arguments)), mOut(out), mErr(err)
{}

int PrefsCommand::run()
{
    QSettings settings;
    if (mArguments.isEmpty()) {
        QString text;
        for (const PreferenceKeys::Key& key : PreferenceKeys::all()) {
            const bool stored = settings.contains(key.name);
            const QVariant value = stored ? settings.value(key.name) : key.defaultValue;
            text += key.name.leftJustified(26) + QLatin1Char(' ') +
                    QString(shown(value) + (stored ? QString() : QStringLiteral(" (default)")))
                        .leftJustified(22) +
                    QLatin1Char(' ') + key.meaning + QLatin1Char('\n');
        }
        CliOutput::print(mOut, text);
        return 0;
    }
    const bool reset = mArguments.first() == QLatin1String("--reset");
    const QStringList args = reset ? mArguments.mid(1) : mArguments;
    if (args.isEmpty() || args.size() > 2 || (reset && args.size() != 1)) {
        CliOutput::print(mErr, LocalizedStrings::text(QStringLiteral("CliPrefsUsage")) + QLatin1Char('\n'));
        return 2;
    }
    const PreferenceKeys::Key* key = PreferenceKeys::find(args.first());
    if (!key) {
        CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliPrefsUnknownKey"), args.first()) +
                                   QLatin1Char('\n'));
        return 2;
    }
    if (reset) {
        settings.remove(key->name);
        settings.sync();
        return 0;
    }
    if (args.size() == 1) {
        const QVariant value = settings.contains(key->name) ? settings.value(key->name) : key->defaultValue;
        CliOutput::print(mOut, shown(value) + QLatin1Char('\n'));
        return 0;
    }
    const std::optional<QVariant> value = PreferenceKeys::valueFromText(*key, args.at(1));
    if (!value) {
        CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliPrefsBadValue"), args.at(1),
                                                        key->name, PreferenceKeys::typeName(key->type)) +
                                   QLatin1Char('\n'));
        return 2;
    }
    settings.setValue(key->name, *value);
    settings.sync();
    if (settings.status() != QSettings::NoError) {
        CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliPrefsNotStored"), key->name) +
                                   QLatin1Char('\n'));
        return 1;
    }
    return 0;
}
